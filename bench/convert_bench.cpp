// Conversion of a tree beside one pass over the same headers in the order of memory.

#include <cstring>

#include <kiv/common.h>
#include <kiv/extras.h>

#include "rounds.h"
#include "trees.h"

namespace {

// What a conversion reads of each node: counts, children and, where there are any, which are links.
uint64_t read_headers(const trees::tree &tree)
{
    uint64_t sum = 0;
    for (const kiv_array_tree_node &node : tree) {
        sum += node.parameter_count;
        const uint16_t count = node.child_count;
        if (count == 0)
            continue;
        for (uint16_t i = 0; i < count; ++i)
            sum += node.children[i];
        uint64_t mask[4];
        std::memcpy(mask, node.childlist_mask, sizeof mask);
        sum += mask[0] ^ mask[1] ^ mask[2] ^ mask[3];
    }
    return sum;
}

void convert(benchmark::State &state)
{
    trees::tree tree = trees::of_size(static_cast<size_t>(state.range(0)));
    if (kiv_tree_check(tree.data(), tree.size() * sizeof tree[0], nullptr) != 0) {
        state.SkipWithError("the tree is not sound");
        return;
    }
    uint64_t sum = 0;
    rounds::measure(state,
                    {{"ntoh_array_tree", [&] { ntoh_array_tree(tree.data(), 0, 0); }},
                     {"linear_pass", [&] { benchmark::DoNotOptimize(sum += read_headers(tree)); }},
                     {"hton_array_tree", [&] { hton_array_tree(tree.data(), 0, 0); }}});
}

BENCHMARK(convert)
    ->Name("convert/nodes")
    ->Arg(20000)
    ->Iterations(300)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

} // namespace
