#ifndef TREE_PICTURE_H
#define TREE_PICTURE_H

#include <string>
#include <string_view>

namespace kiv::tree {

// Has `dot`, found by PATH, draw a graph in its language as SVG. Returns what went wrong, or an
// empty text; `svg` is whole only then. What dot says on standard error goes to the caller's.
std::string draw_svg(std::string_view graph, std::string &svg);

} // namespace kiv::tree

#endif
