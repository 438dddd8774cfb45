// What nodes are called where a person reads of them.
#ifndef TREE_LABELS_H
#define TREE_LABELS_H

#include <string>
#include <string_view>
#include <vector>

#include "grammar/tree_records.h"

namespace kiv::tree {

// A text that is one word, in quotes where it holds blanks, and with \xNN for what is no text.
std::string readable(std::string_view text);

// The keyword, or the types of an argument: "<int 0..3600|mac>".
std::string title(const grammar::tree_records &tree, uint32_t node);

// How references name a node: by its name, unless another node has it too, or else by its index.
class labels {
public:
    explicit labels(const grammar::tree_records &tree);

    // "[NAME]" or "[#INDEX]".
    std::string reference(uint32_t node) const;

    // The same for the node itself, with a blank in front; nothing for a node without a name that
    // is not referred to either.
    std::string mark(uint32_t node) const;

    // The name alone, nothing for one that other nodes have too.
    std::string_view name(uint32_t node) const { return names_[node]; }

private:
    std::vector<std::string_view> names_;
    std::vector<bool> referred_;
};

// The nodes besides the root that no node has for its child. Every node is below one of these or
// the root.
std::vector<uint32_t> unowned_nodes(const grammar::tree_records &tree);

} // namespace kiv::tree

#endif
