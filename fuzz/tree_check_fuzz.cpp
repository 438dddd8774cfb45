// A tree that passes the check can be walked, whatever its bytes are.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

#include <kiv/extras.h>

#include "edited_tree.h"

namespace {

using fuzz::node_count;

// How many nodes a walker of the whole tree comes by: shared ones once for every way to them, and
// up to the greatest depth where links make a circle.
size_t steps_of_walk(const kiv_array_tree_node *tree, bool follow_links)
{
    std::array<size_t, node_count> steps;
    steps.fill(1);
    for (int depth = KIV_TREE_MAX_DEPTH; depth-- > 0;) {
        std::array<size_t, node_count> above{};
        for (size_t node = 0; node < node_count; ++node) {
            above[node] = 1;
            for (size_t i = 0; i < tree[node].child_count; ++i) {
                const bool is_link = (tree[node].childlist_mask[i / 8] >> i % 8 & 1) != 0;
                if (follow_links || !is_link)
                    above[node] += steps[tree[node].children[i]];
            }
            above[node] = std::min(above[node], size_t{1} << 32);
        }
        steps = above;
    }
    return steps[0];
}

// A walker would end the process if the tree were deeper than the check allows.
void walk(kiv_array_tree_node *tree)
{
    constexpr size_t affordable = 10'000;
    if (steps_of_walk(tree, true) <= affordable)
        cycle_check(tree, 0, 0);
    if (steps_of_walk(tree, false) > affordable)
        return;
    ntoh_array_tree(tree, 0, 0);
    display_array_tree(tree, 0, 0);
    hton_array_tree(tree, 0, 0);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kiv_tree_check(data, size, nullptr);

    const auto tree = fuzz::edited_tree(data, size);
    if (kiv_tree_check(tree.get(), node_count * sizeof(kiv_array_tree_node), nullptr) == 0)
        walk(tree.get());
    return 0;
}
