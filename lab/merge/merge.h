// Contributed command trees made into one.
//
// A place is a path of keywords and arguments from the root. Where several trees have a node at the
// same place, the result has one node; the commands of every tree are in the result with what
// belongs to them, and nothing else is.
#ifndef LAB_MERGE_MERGE_H
#define LAB_MERGE_MERGE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <kiv/common.h>

namespace kiv::merge {

// A tree that has passed kiv_tree_check and that nobody writes to meanwhile.
struct contribution {
    std::string_view name; // for reports
    std::span<const kiv_array_tree_node> nodes;
};

// Why a tree was left out.
struct conflict {
    size_t tree;      // its place among the contributions
    uint32_t node;    // its node
    std::string text; // what stands in the way, with the place and the other tree
};

struct result {
    std::vector<kiv_array_tree_node> nodes;
    std::vector<conflict> conflicts; // of a tree that was left out, at most most_conflicts
};

constexpr size_t most_conflicts = 8;

// Merges the trees in their order: one that contradicts those before it is left out whole. The
// result passes kiv_tree_check, and without conflicts it is byte for byte the same in whatever
// order the trees come. Linear in the number of nodes.
result merge(std::span<const contribution> trees);

} // namespace kiv::merge

#endif
