// What show commands print, as XML.
#ifndef LAB_KIV_XML_H
#define LAB_KIV_XML_H

#include <string>
#include <string_view>

namespace kiv_shell {

// The element <show> of a command, with an element <line> for each line of its output. A byte that
// is not of a printable character or a tab, most of which XML cannot hold in any form, is the
// element <byte value="NN"/>; in the command, where no element can stand, such a character is
// U+FFFD.
std::string xml_show(std::string_view command, std::string_view output);

} // namespace kiv_shell

#endif
