// Of any trees that pass the check, the merge makes one that passes it too, is merged with itself
// and with what it was made of without a change, and does not depend on their order.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include <kiv/extras.h>

#include "edited_tree.h"
#include "lab/merge/merge.h"
#include "require.h"

namespace {

using fuzz::require;

using kiv::merge::contribution;
using kiv::merge::result;
using owned_tree = std::unique_ptr<kiv_array_tree_node[]>;
using records = std::vector<kiv_array_tree_node>;

bool is_sound(std::span<const kiv_array_tree_node> nodes)
{
    return kiv_tree_check(nodes.data(), nodes.size_bytes(), nullptr) == 0;
}

// The first byte says into how many trees the others are cut.
std::vector<owned_tree> cut_into_trees(const uint8_t *data, size_t size)
{
    constexpr size_t most_trees = 4;
    const size_t count = 1 + (size == 0 ? 0 : data[0] % most_trees);
    const size_t bytes = size == 0 ? 0 : (size - 1) / count;
    std::vector<owned_tree> trees;
    for (size_t i = 0; i < count; ++i) {
        owned_tree tree = fuzz::edited_tree(data + 1 + i * bytes, bytes);
        if (is_sound({tree.get(), fuzz::node_count}))
            trees.push_back(std::move(tree));
    }
    return trees;
}

bool same(const records &a, const records &b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof a[0]) == 0;
}

void expect_no_change(const records &merged, const contribution &added)
{
    const contribution both[] = {{"merged", merged}, added};
    const result again = kiv::merge::merge(both);
    require(again.conflicts.empty() && same(again.nodes, merged));
}

bool was_left_out(const result &of, size_t tree)
{
    return std::ranges::any_of(of.conflicts, [&](const auto &each) { return each.tree == tree; });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::vector<owned_tree> trees = cut_into_trees(data, size);
    std::vector<contribution> views;
    for (const owned_tree &tree : trees)
        views.push_back({"t", {tree.get(), fuzz::node_count}});
    const result first = kiv::merge::merge(views);
    require(is_sound(first.nodes));
    for (size_t i = 0; i < views.size(); ++i) {
        if (!was_left_out(first, i))
            expect_no_change(first.nodes, views[i]);
    }
    const contribution alone[] = {{"merged", first.nodes}};
    require(same(kiv::merge::merge(alone).nodes, first.nodes));
    std::ranges::reverse(views);
    const result turned = kiv::merge::merge(views);
    require(turned.conflicts.empty() == first.conflicts.empty());
    require(!first.conflicts.empty() || same(turned.nodes, first.nodes));
    return 0;
}
