#ifndef LAB_MERGE_SURVEY_H
#define LAB_MERGE_SURVEY_H

#include <cstdint>
#include <vector>

#include "grammar/tree_records.h"

namespace kiv::merge {

// What leads where within one contribution. A node that nothing leads to is in no list, and owns
// nothing.
struct survey {
    std::vector<uint32_t> owners;         // of each node, or nowhere
    std::vector<uint32_t> below_root;     // the root and what it owns, owners first
    std::vector<uint32_t> free_roots;     // without an owner: links alone lead there
    std::vector<uint32_t> several_owners; // unless it is empty, the others mean nothing
};

survey look_around(const grammar::tree_records &tree);

} // namespace kiv::merge

#endif
