#include "merge.h"

#include <algorithm>

#include <kiv/extras.h>

#include "look.h"
#include "writer.h"

namespace kiv::merge {

namespace {

size_t count_nodes(std::span<const contribution> trees)
{
    size_t count = 0;
    for (const contribution &each : trees)
        count += each.nodes.size();
    return std::min<size_t>(count, KIV_TREE_MAX_NODES);
}

void apply(const contribution &tree, uint32_t number, plan &planned, places &so_far)
{
    for (const plan::shared_place &each : planned.shared_places)
        so_far.join(each.id, tree.nodes[each.node], number);
    for (const plan::new_place &each : planned.new_places)
        so_far.add(tree.nodes[each.node], each.owner, number);
    for (const reference &each : planned.children)
        so_far.add_child(each);
    so_far.add_free_trees(std::move(planned.free_trees));
}

} // namespace

result merge(std::span<const contribution> trees)
{
    const size_t expected = count_nodes(trees);
    places so_far(expected);
    key_numbers keys(expected);
    result merged;
    for (size_t i = 0; i < trees.size(); ++i) {
        plan planned = look_at(trees, i, so_far, keys);
        if (planned.conflicts.empty())
            apply(trees[i], static_cast<uint32_t>(i), planned, so_far);
        std::ranges::move(planned.conflicts, std::back_inserter(merged.conflicts));
    }
    if (so_far.size() == 0)
        merged.nodes.emplace_back();
    else
        merged.nodes = written(so_far);
    return merged;
}

} // namespace kiv::merge
