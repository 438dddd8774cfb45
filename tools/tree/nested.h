#ifndef TREE_NESTED_H
#define TREE_NESTED_H

#include <string>

#include "grammar/tree_records.h"

namespace kiv::tree {

// A tree as nested JSON objects, a node on each line. The members are named as the grammar's
// statements; what is not set is left out. A link has the members "link", the name of its node if
// it has one of its own, and "node". A node that several nodes own has its members where it comes
// first, and only "node" and "above" from there on.
std::string nested_json(const grammar::tree_records &tree);

} // namespace kiv::tree

#endif
