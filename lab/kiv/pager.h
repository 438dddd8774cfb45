// Text that is longer than the screen.
#ifndef LAB_KIV_PAGER_H
#define LAB_KIV_PAGER_H

#include <string_view>

#include "failure.h"

namespace kiv_shell {

// Writes the text on standard output, a terminal; where it does not fit on the screen, through the
// first of these that can be run: what PAGER says, and less. Nobody has to read to the end.
failure show_in_pages(std::string_view text);

} // namespace kiv_shell

#endif
