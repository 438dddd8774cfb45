#ifndef LAB_MERGE_LOOK_H
#define LAB_MERGE_LOOK_H

#include <span>
#include <vector>

#include "merge.h"
#include "node_key.h"
#include "places.h"
#include "survey.h"

namespace kiv::merge {

// What a contribution adds to the result; or, if there are conflicts, only those.
struct plan {
    struct new_place {
        uint32_t node;
        uint32_t owner;
    };
    struct shared_place {
        uint32_t node;
        uint32_t id;
    };

    std::vector<new_place> new_places; // in the order of their ids, from the size of the result on
    std::vector<shared_place> shared_places;
    std::vector<reference> children;
    free_tree_index free_trees;
    std::vector<conflict> conflicts;
};

// Compares a contribution with the result so far, and changes nothing but the numbers of keys.
plan look_at(std::span<const contribution> trees, size_t tree, const places &so_far,
             key_numbers &keys);

} // namespace kiv::merge

#endif
