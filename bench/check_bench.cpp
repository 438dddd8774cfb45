// The check of a tree beside one pass that reads all of it.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <vector>

#include <kiv/extras.h>

#include "rounds.h"
#include "trees.h"

namespace {

// 31 levels, every node with two links to each of a pair of nodes of the next level.
trees::tree ladder_of_size(size_t size)
{
    constexpr size_t levels = KIV_TREE_MAX_DEPTH;
    const size_t width = size / levels / 2 * 2;
    trees::tree tree(width * levels);
    for (size_t i = 0; i + width < tree.size(); ++i) {
        const size_t next_level = (i / width + 1) * width;
        const size_t pair = i % width / 2 * 2;
        for (const size_t child : {pair, pair + 1, pair, pair + 1}) {
            tree[i].children[tree[i].child_count] = static_cast<uint16_t>(next_level + child);
            tree[i].child_count = static_cast<uint16_t>(tree[i].child_count + 1);
        }
    }
    return tree;
}

trees::tree reordered(const trees::tree &tree, const std::vector<size_t> &places)
{
    trees::tree placed(tree.size());
    for (size_t i = 0; i < tree.size(); ++i) {
        kiv_array_tree_node node = tree[i];
        for (size_t child = 0; child < node.child_count; ++child)
            node.children[child] = static_cast<uint16_t>(places[node.children[child]]);
        placed[places[i]] = node;
    }
    return placed;
}

// The same nodes the other way round, so that children come before their owners.
trees::tree reversed(const trees::tree &tree)
{
    std::vector<size_t> places(tree.size());
    std::iota(places.rbegin(), places.rend(), size_t{0});
    return reordered(tree, places);
}

// The first half the other way round.
trees::tree half_reversed(const trees::tree &tree)
{
    std::vector<size_t> places(tree.size());
    std::iota(places.begin(), places.end(), size_t{0});
    std::reverse(places.begin(), places.begin() + static_cast<ptrdiff_t>(places.size() / 2));
    return reordered(tree, places);
}

trees::tree reversed_ladder_of_size(size_t size)
{
    return reversed(ladder_of_size(size));
}

void check(const trees::tree &tree)
{
    if (kiv_tree_check(tree.data(), tree.size() * sizeof tree[0], nullptr) != 0)
        std::abort();
}

void check_beside_reading(benchmark::State &state)
{
    const auto size = static_cast<size_t>(state.range(0));
    const trees::tree tree = trees::of_size(size);
    const trees::tree ladder = ladder_of_size(size);
    const trees::tree backward = reversed(tree);
    const trees::tree backward_ladder = reversed(ladder);
    const trees::tree mixed_ladder = half_reversed(ladder);
    uint64_t sum = 0;
    rounds::measure(
        state, {{"kiv_tree_check", [&] { check(tree); }},
                {"read_all", [&] { benchmark::DoNotOptimize(sum += trees::sum_of_words(tree)); }},
                {"ladder", [&] { check(ladder); }},
                {"children_first", [&] { check(backward); }},
                {"ladder_children_first", [&] { check(backward_ladder); }},
                {"ladder_mixed", [&] { check(mixed_ladder); }}});
}

// Trees of every size fill the same memory, which no cache holds: a tree is loaded and checked
// once.
void check_by_size(benchmark::State &state, trees::tree (*make)(size_t size))
{
    const auto checks_of = [make](size_t size) {
        constexpr size_t all_nodes = 60'000;
        const std::vector<trees::tree> same(all_nodes / size, make(size));
        return [same] {
            for (const trees::tree &tree : same)
                check(tree);
        };
    };
    rounds::measure(
        state,
        {{"60000", checks_of(60'000)}, {"1000", checks_of(1'000)}, {"20000", checks_of(20'000)}});
}

BENCHMARK(check_beside_reading)
    ->Name("check/nodes")
    ->Arg(1000)
    ->Arg(20000)
    ->Arg(60000)
    ->Iterations(100)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

BENCHMARK_CAPTURE(check_by_size, typical, trees::of_size)
    ->Name("check/by_size")
    ->Iterations(30)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK_CAPTURE(check_by_size, reversed_ladder, reversed_ladder_of_size)
    ->Name("check/by_size/reversed_ladder")
    ->Iterations(30)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK_CAPTURE(check_by_size, ladder, ladder_of_size)
    ->Name("check/by_size/ladder")
    ->Iterations(30)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
