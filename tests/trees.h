// Small trees for the tests.
#ifndef KIV_TESTS_TREES_H
#define KIV_TESTS_TREES_H

#include <cstring>
#include <string_view>
#include <vector>

#include <kiv/common.h>

namespace trees {

using tree = std::vector<kiv_array_tree_node>;

// Stores the text in the field, cut to its size, and nothing else.
template <size_t Size>
void put(char (&field)[Size], std::string_view text)
{
    std::memset(field, 0, Size);
    text.copy(field, Size - 1);
}

inline tree of_nodes(size_t count)
{
    return tree(count, kiv_array_tree_node{});
}

inline void add_child(tree &nodes, size_t owner, uint16_t child)
{
    kiv_array_tree_node &node = nodes[owner];
    node.children[node.child_count] = child;
    node.child_count = static_cast<uint16_t>(node.child_count + 1);
}

inline void add_link(tree &nodes, size_t owner, uint16_t child)
{
    const uint16_t position = nodes[owner].child_count;
    add_child(nodes, owner, child);
    nodes[owner].childlist_mask[position / 8] |= static_cast<uint8_t>(1U << position % 8);
}

// Node i owns node i + 1.
inline tree chain(size_t levels)
{
    tree nodes = of_nodes(levels);
    for (size_t i = 0; i + 1 < levels; ++i)
        add_child(nodes, i, static_cast<uint16_t>(i + 1));
    return nodes;
}

// The same tree with node i at place(i).
template <typename Place>
tree reordered(const tree &nodes, Place place)
{
    tree placed = of_nodes(nodes.size());
    for (size_t i = 0; i < nodes.size(); ++i) {
        kiv_array_tree_node node = nodes[i];
        for (size_t child = 0; child < node.child_count; ++child)
            node.children[child] = static_cast<uint16_t>(place(size_t{node.children[child]}));
        placed[place(i)] = node;
    }
    return placed;
}

inline kiv_ptr_tree_node ptr_node(char *token)
{
    kiv_ptr_tree_node node{};
    node.token = token;
    return node;
}

} // namespace trees

#endif
