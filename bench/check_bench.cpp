// The check of a tree beside one pass that reads all of it.

#include <cstdlib>
#include <cstring>
#include <vector>

#include <kiv/extras.h>

#include "rounds.h"
#include "trees.h"

namespace {

uint64_t read_all(const trees::tree &tree)
{
    const auto *bytes = reinterpret_cast<const char *>(tree.data());
    const size_t size = tree.size() * sizeof tree[0];
    uint64_t sum = 0;
    for (size_t i = 0; i + sizeof sum <= size; i += sizeof sum) {
        uint64_t word;
        std::memcpy(&word, bytes + i, sizeof word);
        sum += word;
    }
    return sum;
}

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

// The same nodes the other way round, so that children come before their owners.
trees::tree reversed(const trees::tree &tree)
{
    trees::tree turned(tree.rbegin(), tree.rend());
    for (kiv_array_tree_node &node : turned) {
        for (size_t i = 0; i < node.child_count; ++i)
            node.children[i] = static_cast<uint16_t>(tree.size() - 1 - node.children[i]);
    }
    return turned;
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
    uint64_t sum = 0;
    rounds::measure(state, {{"kiv_tree_check", [&] { check(tree); }},
                            {"read_all", [&] { benchmark::DoNotOptimize(sum += read_all(tree)); }},
                            {"ladder", [&] { check(ladder); }},
                            {"children_first", [&] { check(backward); }}});
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

BENCHMARK_CAPTURE(check_by_size, ladder, ladder_of_size)
    ->Name("check/by_size/ladder")
    ->Iterations(30)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
