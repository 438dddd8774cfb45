#ifndef LAB_KIV_TREE_H
#define LAB_KIV_TREE_H

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <kiv/common.h>

#include "failure.h"
#include "support/field_text.h"
#include "support/mapped_file.h"

namespace kiv_shell {

using node_index = uint32_t;

constexpr node_index root_node = 0;

using kiv::support::field_text;

// A tree in memory that somebody else holds. It was sound when it was checked; but the bytes may be
// those of a file, which others can write to at any time. So what leads on from a node stays within
// the tree whatever the bytes are, and answers may differ from one call to the next.
class tree_view {
public:
    tree_view() = default;
    tree_view(const kiv_array_tree_node *nodes, size_t count) : nodes_(nodes), count_(count) {}

    const kiv_array_tree_node &node(node_index index) const { return nodes_[index]; }

    size_t size() const { return count_; }

    // Links are children like the others: a line comes through them word by word.
    size_t child_count(node_index index) const
    {
        return std::min<size_t>(nodes_[index].child_count, KIV_NODE_MAX_CHILDREN);
    }
    node_index child(node_index index, size_t position) const
    {
        return std::min(node_index{nodes_[index].children[position]},
                        static_cast<node_index>(count_ - 1));
    }

    bool is_argument(node_index index) const { return !parameters(index).empty(); }
    std::span<const kiv_parameter> parameters(node_index index) const
    {
        return {nodes_[index].parameters,
                std::min<size_t>(nodes_[index].parameter_count, KIV_NODE_MAX_PARAMETERS)};
    }

    bool ends_command(node_index index) const { return has_action(index, KIV_ACTION_TERMINAL); }

    // Whether a command that ends at the node enters a mode.
    bool enters_mode(node_index index) const
    {
        return has_action(index, KIV_ACTION_TERMINAL) && has_action(index, KIV_ACTION_SUBMODE);
    }

    std::string_view token(node_index index) const { return field_text(nodes_[index].token); }
    std::string_view function(node_index index) const { return field_text(nodes_[index].func_id); }

    // The nodes on the way from the root, without it, to a node that one of them owns; empty where
    // there is no such way.
    std::vector<node_index> way_to(node_index wanted) const;

    // The mode that a command with this function enters.
    std::optional<node_index> mode_of_function(std::string_view function) const;

private:
    bool is_link(node_index index, size_t position) const
    {
        return (nodes_[index].childlist_mask[position / 8] >> position % 8 & 1) != 0;
    }
    bool has_action(node_index index, uint32_t flag) const
    {
        return (nodes_[index].action & flag) != 0;
    }

    const kiv_array_tree_node *nodes_ = nullptr;
    size_t count_ = 0;
};

// The tree of a file, which stays in memory as it is when another file takes its name.
class tree_file {
public:
    // Maps the file and checks it; what is wrong comes with the file's name.
    failure open(const std::string &name);

    // Valid until the next open().
    tree_view view() const;

private:
    kiv::support::mapped_file file_;
};

} // namespace kiv_shell

#endif
