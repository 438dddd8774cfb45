#ifndef LAB_KIV_TREE_H
#define LAB_KIV_TREE_H

#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include <kiv/common.h>

#include "failure.h"

namespace kiv_shell {

using node_index = uint32_t;

constexpr node_index root_node = 0;

template <size_t Size>
std::string_view field_text(const char (&field)[Size])
{
    return {field, strnlen(field, Size)};
}

// A sound tree in memory that somebody else holds.
class tree_view {
public:
    tree_view() = default;
    tree_view(const kiv_array_tree_node *nodes, size_t count) : nodes_(nodes), count_(count) {}

    const kiv_array_tree_node &node(node_index index) const { return nodes_[index]; }

    // Links are children like the others: a line comes through them word by word.
    size_t child_count(node_index index) const { return nodes_[index].child_count; }
    node_index child(node_index index, size_t position) const
    {
        return nodes_[index].children[position];
    }

    bool is_argument(node_index index) const { return nodes_[index].parameter_count > 0; }
    bool ends_command(node_index index) const { return has_action(index, KIV_ACTION_TERMINAL); }

    // Whether a command that ends at the node enters a mode.
    bool enters_mode(node_index index) const
    {
        return has_action(index, KIV_ACTION_TERMINAL) && has_action(index, KIV_ACTION_SUBMODE);
    }

    std::string_view token(node_index index) const { return field_text(nodes_[index].token); }
    std::string_view function(node_index index) const { return field_text(nodes_[index].func_id); }

    // The mode that a command with this function enters.
    std::optional<node_index> mode_of_function(std::string_view function) const;

private:
    bool has_action(node_index index, uint32_t flag) const
    {
        return (nodes_[index].action & flag) != 0;
    }

    const kiv_array_tree_node *nodes_ = nullptr;
    size_t count_ = 0;
};

// The tree of a file: a copy, since the file may be cut or written over at any time.
class tree_file {
public:
    // Reads the file and checks the copy; what is wrong comes with the file's name.
    failure open(const std::string &name);

    // Valid until the next open().
    tree_view view() const;

private:
    std::string content_;
};

} // namespace kiv_shell

#endif
