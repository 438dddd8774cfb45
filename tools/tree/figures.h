#ifndef TREE_FIGURES_H
#define TREE_FIGURES_H

#include <string>

#include "grammar/tree_records.h"

namespace kiv::tree {

struct figures {
    uint64_t nodes = 0;
    uint64_t commands = 0;
    uint64_t levels = 0; // from the root down, links not followed
    uint64_t widest_node = 0;
    uint64_t most_children = 0;
    uint64_t links = 0;
    uint64_t shared = 0;      // nodes that more than one child entry names, links among them
    uint64_t unreachable = 0; // nodes that no way from the root leads to, not even a link
    uint64_t bytes = 0;
};

figures measure(const grammar::tree_records &tree);

// How many lines display_array_tree prints of the tree: a node that several own comes below each of
// them. Stops counting at UINT32_MAX.
uint64_t dumped_lines(const grammar::tree_records &tree);

std::string figures_text(const figures &measured, const grammar::tree_records &tree);
std::string figures_json(const figures &measured);

} // namespace kiv::tree

#endif
