#ifndef TREE_GRAPH_H
#define TREE_GRAPH_H

#include <string>

#include "grammar/tree_records.h"

namespace kiv::tree {

// A tree in the language of Graphviz: boxes where a command ends, double lines where it enters a
// sub-mode, dashed edges for links, the help as a tooltip.
std::string dot_graph(const grammar::tree_records &tree);

} // namespace kiv::tree

#endif
