// Command trees for the benchmarks, as the tree compiler stores them.
#ifndef KIV_BENCH_TREES_H
#define KIV_BENCH_TREES_H

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include <kiv/common.h>

namespace trees {

using tree = std::vector<kiv_array_tree_node>;

// Reads all of a tree, and does nothing else.
inline uint64_t sum_of_words(const tree &nodes)
{
    const auto *bytes = reinterpret_cast<const char *>(nodes.data());
    const size_t size = nodes.size() * sizeof nodes[0];
    uint64_t sum = 0;
    for (size_t i = 0; i + sizeof sum <= size; i += sizeof sum) {
        uint64_t word;
        std::memcpy(&word, bytes + i, sizeof word);
        sum += word;
    }
    return sum;
}

template <size_t Size, typename... Values>
void print(char (&field)[Size], const char *format, Values... values)
{
    std::snprintf(field, Size, format, values...);
}

// A node as command trees have them: keywords with help, every third one with arguments, most of
// them commands.
inline kiv_array_tree_node typical_node(size_t number)
{
    kiv_array_tree_node node{};
    print(node.token, "keyword-%zu", number);
    print(node.help, "Set the value of the keyword number %zu", number);
    print(node.module_id, "module-%zu", number % 20);
    print(node.func_id, "handle_keyword_%zu", number);
    node.action = KIV_ACTION_TERMINAL;
    node.token_id = static_cast<uint32_t>(number);
    node.command_id = static_cast<uint32_t>(number / 10);
    node.permissions_mask[0] = 0x0F;
    node.asciigen_priority = 10;
    node.parameter_count = static_cast<uint16_t>(number % 3);
    for (kiv_parameter &parameter : node.parameters) {
        parameter.type = static_cast<uint32_t>(TYPE_INT);
        parameter.minimum = 1;
        parameter.maximum = 4093;
        print(parameter.help, "Number of the virtual SAN");
    }
    return node;
}

// Grows the subtree of the node that was added last, depth first.
inline void grow(tree &nodes, size_t size, int32_t depth)
{
    constexpr uint16_t children_of_each = 4;
    constexpr int32_t deepest = 12;
    const size_t owner = nodes.size() - 1;
    for (uint16_t i = 0; i < children_of_each && nodes.size() < size && depth < deepest; ++i) {
        nodes[owner].children[i] = static_cast<uint16_t>(nodes.size());
        nodes[owner].child_count = static_cast<uint16_t>(i + 1);
        nodes.push_back(typical_node(nodes.size()));
        grow(nodes, size, depth + 1);
    }
}

inline tree of_size(size_t size)
{
    tree nodes(1);
    grow(nodes, size, 0);
    return nodes;
}

} // namespace trees

#endif
