// Virtual SANs as they are written on a command line.
#ifndef KIVCTL_VSAN_LIST_H
#define KIVCTL_VSAN_LIST_H

#include <string_view>

#include <kiv/bmp_template.h>

namespace kivctl {

// Reads "all", "none", or numbers and ranges such as "1-10,20" into an empty set; false for
// anything else.
bool read_vsans(std::string_view text, bmask4096 &vsans);

} // namespace kivctl

#endif
