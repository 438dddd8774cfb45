// A tree that passes the check can be walked, whatever its bytes are.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <kiv/extras.h>

namespace {

// Random bytes hardly ever make nodes, so the input is taken as edits of an empty tree: node,
// offset within it, value.
struct edit {
    uint8_t node;
    uint16_t offset;
    uint8_t value;
};

constexpr size_t edit_size = 4;
constexpr size_t node_count = 40;

edit edit_at(const uint8_t *bytes)
{
    const size_t offset = static_cast<size_t>(bytes[1]) << 8 | bytes[2];
    return {bytes[0], static_cast<uint16_t>(offset % sizeof(kiv_array_tree_node)), bytes[3]};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kiv_tree_check(data, size, nullptr);

    // On the heap, so that reads outside it are seen.
    const auto tree = std::make_unique<kiv_array_tree_node[]>(node_count);
    auto *bytes = reinterpret_cast<uint8_t *>(tree.get());
    for (; size >= edit_size; data += edit_size, size -= edit_size) {
        const edit change = edit_at(data);
        bytes[change.node % node_count * sizeof(kiv_array_tree_node) + change.offset] =
            change.value;
    }
    kiv_tree_check_result result;
    if (kiv_tree_check(tree.get(), node_count * sizeof(kiv_array_tree_node), &result) != 0)
        return 0;
    // Would end the process if the tree were deeper than the check allows. Shared nodes are walked
    // once for every way to them, so only a check of depth is affordable for every input.
    size_t edges = 0;
    for (size_t i = 0; i < node_count; ++i)
        edges += tree[i].child_count;
    if (edges < node_count)
        ntoh_array_tree(tree.get(), 0, 0);
    return 0;
}
