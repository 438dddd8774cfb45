#ifndef GRAMMAR_TREE_RECORDS_H
#define GRAMMAR_TREE_RECORDS_H

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include <kiv/common.h>

#include "support/field_text.h"

namespace kiv::grammar {

constexpr uint32_t root_node = 0;

using support::field_text;

// The records of a sound tree. They may be a mapped file that somebody writes to meanwhile:
// whatever becomes of them, nothing outside of them is read.
class tree_records {
public:
    struct child {
        uint32_t node;
        bool link;
    };

    explicit tree_records(std::span<const kiv_array_tree_node> nodes) : nodes_(nodes) {}

    uint32_t size() const { return static_cast<uint32_t>(nodes_.size()); }
    std::span<const kiv_array_tree_node> nodes() const { return nodes_; }
    const kiv_array_tree_node &operator[](uint32_t node) const { return nodes_[node]; }

    std::span<const kiv_parameter> parameters(uint32_t node) const
    {
        const size_t count = nodes_[node].parameter_count;
        return {nodes_[node].parameters, std::min<size_t>(count, KIV_NODE_MAX_PARAMETERS)};
    }

    uint32_t child_count(uint32_t node) const
    {
        return std::min<uint32_t>(nodes_[node].child_count, KIV_NODE_MAX_CHILDREN);
    }

    child child_at(uint32_t node, uint32_t position) const
    {
        const kiv_array_tree_node &record = nodes_[node];
        const uint32_t index = record.children[position];
        return {std::min(index, size() - 1),
                (record.childlist_mask[position / 8] >> position % 8 & 1) != 0};
    }

    template <class Visit>
    void for_each_child(uint32_t node, Visit visit) const
    {
        const uint32_t count = child_count(node);
        for (uint32_t position = 0; position < count; ++position)
            visit(child_at(node, position));
    }

    // How many child entries name each node as their own; with links, how many name it at all.
    std::vector<uint32_t> owner_counts() const { return count_children(false); }
    std::vector<uint32_t> reference_counts() const { return count_children(true); }

private:
    std::vector<uint32_t> count_children(bool links_too) const
    {
        std::vector<uint32_t> counts(size());
        for (uint32_t node = 0; node < size(); ++node)
            for_each_child(node, [&](child each) { counts[each.node] += links_too || !each.link; });
        return counts;
    }

    std::span<const kiv_array_tree_node> nodes_;
};

} // namespace kiv::grammar

#endif
