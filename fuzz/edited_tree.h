// Trees from the bytes of a fuzzer.
#ifndef KIV_FUZZ_EDITED_TREE_H
#define KIV_FUZZ_EDITED_TREE_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include <kiv/common.h>

namespace fuzz {

constexpr size_t node_count = 40;

// Random bytes hardly ever make nodes, so the input is taken as edits of an empty tree: node,
// offset within it (two bytes), value. On the heap, so that reads outside it are seen.
inline std::unique_ptr<kiv_array_tree_node[]> edited_tree(const uint8_t *data, size_t size)
{
    constexpr size_t edit_size = 4;
    auto tree = std::make_unique<kiv_array_tree_node[]>(node_count);
    auto *bytes = reinterpret_cast<uint8_t *>(tree.get());
    for (; size >= edit_size; data += edit_size, size -= edit_size) {
        const size_t node = data[0] % node_count;
        const size_t offset = (static_cast<size_t>(data[1]) << 8 | data[2]) % sizeof tree[0];
        bytes[node * sizeof tree[0] + offset] = data[3];
    }
    return tree;
}

} // namespace fuzz

#endif
