// What a node is made of that several trees have.
#ifndef LAB_MERGE_SHARED_NODE_H
#define LAB_MERGE_SHARED_NODE_H

#include <kiv/common.h>

namespace kiv::merge {

// A node without a handler is only a way to others.
bool has_handler(const kiv_array_tree_node &node);
bool has_generator(const kiv_array_tree_node &node);

// The name of what differs in two handlers, or null: they are the same.
const char *difference_of_handlers(const kiv_array_tree_node &a, const kiv_array_tree_node &b);
bool same_generator(const kiv_array_tree_node &a, const kiv_array_tree_node &b);

// Makes one node of two that have the same key and do not contradict each other: a handler comes
// from the one that has it, and so does a generator with its priority; masks have the bits of both.
// The children stay those of `into`.
void join(kiv_array_tree_node &into, const kiv_array_tree_node &from);

// Copies all but the children, and no byte that means nothing. `to` is zero before.
void copy_content(kiv_array_tree_node &to, const kiv_array_tree_node &from);

} // namespace kiv::merge

#endif
