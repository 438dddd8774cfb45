// The merge of many contributed trees: by their number and size, and beside one pass that reads the
// result.

#include <cstdlib>
#include <string>
#include <vector>

#include "lab/merge/merge.h"
#include "rounds.h"
#include "trees.h"

namespace {

constexpr size_t all_nodes = 20'000;

struct contributed {
    std::string name;
    trees::tree nodes;
};

using contributions = std::vector<contributed>;

void add_keyword(trees::tree &nodes, const char *format, size_t number)
{
    kiv_array_tree_node &owner = nodes.back();
    owner.children[0] = static_cast<uint16_t>(nodes.size());
    owner.child_count = 1;
    trees::print(nodes.emplace_back().token, format, number);
    nodes.back().permissions_mask[0] = 0x0F;
}

// What a module contributes: its own commands below ways that it shares with others, as many as
// keep every place far from its limit.
contributed contribution_of(size_t module, size_t size)
{
    constexpr size_t modules_of_group = 16;
    contributed made{"module-" + std::to_string(module), trees::tree(1)};
    add_keyword(made.nodes, "show", 0);
    add_keyword(made.nodes, "group-%zu", module / modules_of_group);
    add_keyword(made.nodes, "module-%zu", module);
    trees::grow(made.nodes, size, 0);
    return made;
}

contributions contributions_of(size_t count, size_t size)
{
    contributions made;
    for (size_t module = 0; module < count; ++module)
        made.push_back(contribution_of(module, size));
    return made;
}

std::vector<kiv_array_tree_node> merged(const contributions &trees)
{
    std::vector<kiv::merge::contribution> views;
    for (const contributed &each : trees)
        views.push_back({each.name, each.nodes});
    kiv::merge::result result = kiv::merge::merge(views);
    if (!result.conflicts.empty())
        std::abort();
    return std::move(result.nodes);
}

// Merges as many nodes as every other contender, all in trees of their own.
rounds::contender merging(const std::string &name, size_t count, size_t size)
{
    const std::vector<contributions> sets(all_nodes / (count * size),
                                          contributions_of(count, size));
    return {name, [sets] {
                for (const contributions &each : sets)
                    benchmark::DoNotOptimize(merged(each));
            }};
}

void merge_by_number(benchmark::State &state)
{
    rounds::measure(state, {merging("500x40", 500, 40), merging("100x40", 100, 40),
                            merging("20x1000", 20, 1000)});
}

BENCHMARK(merge_by_number)
    ->Name("merge/by_number")
    ->Iterations(30)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void merge_beside_reading(benchmark::State &state)
{
    const auto count = static_cast<size_t>(state.range(0));
    const auto size = static_cast<size_t>(state.range(1));
    const contributions trees = contributions_of(count, size);
    const std::vector<kiv_array_tree_node> result = merged(trees);
    uint64_t sum = 0;
    rounds::measure(state, {{"merge", [&] { benchmark::DoNotOptimize(merged(trees)); }},
                            {"read_all", [&] {
                                 benchmark::DoNotOptimize(sum += trees::sum_of_words(result));
                             }}});
}

BENCHMARK(merge_beside_reading)
    ->Name("merge/nodes")
    ->Args({100, 40})
    ->Args({500, 40})
    ->Args({20, 1000})
    ->Iterations(50)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
