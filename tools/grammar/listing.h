#ifndef GRAMMAR_LISTING_H
#define GRAMMAR_LISTING_H

#include <span>
#include <string>

#include <kiv/common.h>

namespace kiv::grammar {

// One line for each node of a tree that kiv_tree_check has found sound: index, token or parameter
// types, flags, function id, and children in their order.
std::string list_nodes(std::span<const kiv_array_tree_node> nodes);

} // namespace kiv::grammar

#endif
