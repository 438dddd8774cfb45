// What tells the children of a node apart: the token of a keyword; of an argument, its parameters
// and its token.
#ifndef LAB_MERGE_NODE_KEY_H
#define LAB_MERGE_NODE_KEY_H

#include <vector>

#include <kiv/common.h>

#include "index_table.h"

namespace kiv::merge {

bool is_argument(const kiv_array_tree_node &node);
bool same_key(const kiv_array_tree_node &a, const kiv_array_tree_node &b);

// The order of siblings: keywords by token, letters of either case alike, then arguments by their
// parameters. Only nodes of the same key are equal in it.
bool goes_before(const kiv_array_tree_node &a, const kiv_array_tree_node &b);

// Gives every key a number. The nodes are kept in mind, not copied.
class key_numbers {
public:
    explicit key_numbers(size_t expected) : table_(expected) { examples_.reserve(expected); }

    uint32_t number_of(const kiv_array_tree_node &node);

    // A note on each key, for whoever uses the numbers; 0 at first.
    uint8_t &note_of(uint32_t key) { return notes_[key]; }

private:
    index_table table_;
    std::vector<const kiv_array_tree_node *> examples_; // a node of each key
    std::vector<uint8_t> notes_;
};

} // namespace kiv::merge

#endif
