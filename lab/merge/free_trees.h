#ifndef LAB_MERGE_FREE_TREES_H
#define LAB_MERGE_FREE_TREES_H

#include <cstdint>
#include <optional>
#include <vector>

#include "grammar/tree_records.h"
#include "survey.h"

namespace kiv::merge {

// A node that links alone lead to, and what it owns.
struct free_tree {
    std::vector<uint32_t> nodes;    // depth first, siblings in their order
    std::vector<uint32_t> links_to; // other free trees
};

// The free trees of a contribution, each behind those that it links to.
struct free_trees {
    std::vector<free_tree> trees;
    std::optional<uint32_t> in_circle; // a node of trees that link to each other; there is no order
};

free_trees find_free_trees(const grammar::tree_records &tree, const survey &known);

} // namespace kiv::merge

#endif
