#ifndef TREE_OUTLINE_H
#define TREE_OUTLINE_H

#include <string>

#include "grammar/tree_records.h"

namespace kiv::tree {

// A tree as a person reads it, in three columns: keywords and arguments, indented; the command that
// ends there and the sub-mode that it enters; the help. Links are named and not followed. A node
// with several owners is shown once, and then referred to.
std::string outline(const grammar::tree_records &tree);

} // namespace kiv::tree

#endif
