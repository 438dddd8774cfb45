// Contributed trees made into one: random trees against a simple model of what the result has to
// hold, and each reason to leave a tree out.

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <kiv/extras.h>

#include "lab/merge/merge.h"
#include "merge_trees.h"

using kiv::merge::conflict;
using kiv::merge::contribution;
using kiv::merge::result;
using testing::HasSubstr;
using testing::StartsWith;
using namespace merge_trees;

namespace {

result merged(const std::vector<tree> &trees)
{
    static constexpr std::string_view names[] = {"t0", "t1", "t2", "t3", "t4", "t5", "t6"};
    std::vector<contribution> views;
    for (const tree &each : trees)
        views.push_back({names[views.size()], each});
    return kiv::merge::merge(views);
}

std::string bytes_of(const tree &nodes)
{
    return {reinterpret_cast<const char *>(nodes.data()), nodes.size() * sizeof nodes[0]};
}

bool is_sound(const tree &nodes)
{
    return kiv_tree_check(nodes.data(), nodes.size() * sizeof nodes[0], nullptr) == 0;
}

std::vector<tree> random_trees(random_source &random, size_t nodes_of_mistake)
{
    std::vector<tree> made(2 + below(random, 5));
    for (tree &each : made)
        each = tree_maker(random, nodes_of_mistake).make();
    return made;
}

std::vector<std::string> keys_of(const tree &nodes)
{
    std::vector<std::string> keys(nodes.size());
    std::ranges::transform(nodes, keys.begin(), key_of);
    return keys;
}

std::set<size_t> left_out(const result &of)
{
    std::set<size_t> trees;
    for (const conflict &each : of.conflicts)
        trees.insert(each.tree);
    return trees;
}

TEST(Merge, HoldsWhatTheAcceptedTreesSayAndNothingElse)
{
    random_source random(1);
    size_t accepted = 0;
    size_t refused = 0;
    for (int round = 0; round < 700; ++round) {
        const std::vector<tree> trees = random_trees(random, 60);
        const result result = merged(trees);
        model expected;
        expected.handlers["/"] = "";
        const std::set<size_t> out = left_out(result);
        for (size_t i = 0; i < trees.size(); ++i) {
            ASSERT_TRUE(is_sound(trees[i]));
            modeller said(trees[i]);
            const bool fits =
                said.has_one_place_for_each() && add_model(expected, std::move(said).made());
            ASSERT_EQ(fits, !out.contains(i)) << "round " << round << ", tree " << i;
            ++(fits ? accepted : refused);
        }
        ASSERT_TRUE(is_sound(result.nodes));
        modeller said(result.nodes);
        ASSERT_TRUE(said.has_one_place_for_each());
        ASSERT_EQ(std::move(said).made(), expected) << "round " << round;
    }
    EXPECT_GT(accepted, 500U);
    EXPECT_GT(refused, 500U);
}

TEST(Merge, IsTheSameInAnyOrderAndHoweverOften)
{
    random_source random(2);
    size_t without_conflicts = 0;
    for (int round = 0; round < 700; ++round) {
        std::vector<tree> trees = random_trees(random, 0);
        const result first = merged(trees);
        ASSERT_EQ(bytes_of(merged({first.nodes}).nodes), bytes_of(first.nodes));
        if (!first.conflicts.empty())
            continue;
        ++without_conflicts;
        for (const tree &each : trees)
            ASSERT_EQ(bytes_of(merged({first.nodes, each}).nodes), bytes_of(first.nodes));
        ASSERT_EQ(bytes_of(merged({trees[0], trees[0]}).nodes), bytes_of(merged({trees[0]}).nodes));
        std::ranges::shuffle(trees, random);
        const result again = merged(trees);
        ASSERT_TRUE(again.conflicts.empty()) << again.conflicts[0].text;
        ASSERT_EQ(bytes_of(again.nodes), bytes_of(first.nodes)) << "round " << round;
    }
    EXPECT_GT(without_conflicts, 300U);
}

TEST(Merge, SortsAndNumbersInOneWay)
{
    tree nodes = trees::of_nodes(1);
    add_argument(nodes, 0, 5, "f");
    add_argument(nodes, 0, 3, "f");
    for (const std::string_view word : {"b", "B", "A", "a", "\xFF", "aa"})
        add(nodes, 0, word, "f");
    const uint16_t lone = add(nodes, 3, "lone", "f");
    nodes[3].child_count = 0;
    trees::add_link(nodes, 4, lone);
    add(nodes, 5, "z", "f");
    EXPECT_THAT(
        keys_of(merged({nodes}).nodes),
        testing::ElementsAre("", "A", "z", "a", "aa", "B", "b", "\xFF", "<3>", "<5>", "lone"));
    EXPECT_EQ(bytes_of(merged({}).nodes), bytes_of(trees::of_nodes(1)));
}

TEST(Merge, JoinsWhatASharedNodeIs)
{
    tree way = path({"show"}, {});
    tree command = path({"show"}, "run");
    put(way[1].module_id, "a");
    put(way[1].help, "way");
    put(way[1].subtree_config_generator, "generate");
    way[1].asciigen_priority = 9;
    way[1].command_id = 5;
    way[1].permissions_mask[0] = 1;
    way[1].interface_mask = 4;
    way[1].action = 0x10U;
    put(command[1].module_id, "owner");
    put(command[1].help, "command");
    command[1].asciigen_priority = 2;
    command[1].permissions_mask[15] = 0x80;
    command[1].interface_mask = 1;
    command[1].action = KIV_ACTION_TERMINAL;
    for (const auto &trees : {std::vector{way, command}, std::vector{command, way}}) {
        const kiv_array_tree_node shared = merged(trees).nodes.at(1);
        EXPECT_EQ(handler_of(shared), "run|owner||4|0") << "all of it from the command";
        EXPECT_STREQ(shared.help, "command");
        EXPECT_STREQ(shared.subtree_config_generator, "generate");
        EXPECT_EQ(shared.asciigen_priority, 9);
        EXPECT_EQ(shared.permissions_mask[0] | shared.permissions_mask[15], 0x81);
        EXPECT_EQ(shared.interface_mask, 5U);
        EXPECT_EQ(shared.action, 0x14U);
    }
}

// "configure" with a command of its own and a link to "end".
tree with_link(std::string_view target)
{
    tree nodes = trees::of_nodes(1);
    const uint16_t configure = add(nodes, 0, "configure");
    const uint16_t mode = add(nodes, 0, target);
    trees::add_link(nodes, configure, add(nodes, mode, "end", "end"));
    return nodes;
}

tree with_arguments(std::initializer_list<uint32_t> maxima)
{
    tree nodes = path({"show", "vsan"}, {});
    for (const uint32_t maximum : maxima)
        add_argument(nodes, 2, maximum, "f");
    return nodes;
}

tree with_generator(std::string_view name)
{
    tree nodes = path({"vsan"}, "f");
    put(nodes[1].subtree_config_generator, name);
    return nodes;
}

tree with_two_owners()
{
    tree nodes = path({"a", "b"}, "f");
    trees::add_child(nodes, 0, 2);
    return nodes;
}

tree with_twins()
{
    tree nodes = path({"a", "b"}, "f");
    add(nodes, 1, "b", "f");
    return nodes;
}

// Two nodes that only links lead to, each to the other.
tree with_circle()
{
    tree nodes = path({"a"}, "f");
    nodes.resize(4);
    put(nodes[2].token, "there");
    put(nodes[3].token, "back");
    trees::add_link(nodes, 1, 2);
    trees::add_link(nodes, 2, 3);
    trees::add_link(nodes, 3, 2);
    return nodes;
}

tree with_owned_root()
{
    tree nodes = path({"a"}, "f");
    nodes.resize(3);
    trees::add_link(nodes, 1, 2);
    trees::add_child(nodes, 2, 0);
    return nodes;
}

tree with_root(std::string_view token)
{
    tree nodes = path({"a"}, "f");
    put(nodes[0].token, token);
    return nodes;
}

tree of_module(tree nodes, std::string_view module)
{
    put(nodes.back().module_id, module);
    return nodes;
}

tree with_command_id(tree nodes, uint32_t id)
{
    nodes.back().command_id = id;
    return nodes;
}

TEST(Merge, LeavesOutExactlyTheTreeThatContradicts)
{
    const struct {
        tree earlier;
        tree later;
        uint32_t node;
        std::string text;
    } cases[] = {
        {of_module(path({"show", "vsan"}, "show_vsan"), "fabric"),
         of_module(path({"show", "vsan"}, "show_vsan"), "vsan"), 2,
         "\"show vsan\": handler show_vsan of module vsan, but show_vsan of module fabric in tree "
         "\"t1\""},
        {path({"a\n"}, "f"), with_command_id(path({"a\n"}, "f"), 3), 1,
         "\"a\\x0a\": handler f of module lab, but with another command id in tree \"t1\""},
        {with_generator("g"), with_generator("h"), 1,
         "\"vsan\": configuration generator h with priority 0, but g with priority 0 in tree "
         "\"t1\""},
        {with_arguments({1, 2}), with_arguments({1}), 2,
         "\"show vsan\": other arguments than in tree \"t1\""},
        {with_arguments({1}), with_arguments({2}), 2,
         "\"show vsan\": other arguments than in tree \"t1\""},
        {with_link("x"), with_link("y"), 3,
         "\"y end\": a link leads here, but one to another node in tree \"t1\""},
        {path({"configure", "end"}, "end"), with_link("x"), 3,
         "\"x end\": a link leads here, but a node of its own is there in tree \"t1\""},
        {with_link("x"), path({"configure", "end"}, "end"), 2,
         "\"configure end\": a node of its own, but a link in tree \"t1\""},
        {trees::of_nodes(1), with_two_owners(), 2, "\"b\": a node with several owners"},
        {trees::of_nodes(1), with_twins(), 3, "\"a b\": two different children of one node"},
        {trees::of_nodes(1), with_circle(), 2,
         "\"there\": nodes without an owner that link to each other in a circle"},
        {trees::of_nodes(1), with_owned_root(), 0, "the root: a node owns it"},
        {with_root("exec"), with_root("ubex"), 0, "the root: another token"},
    };
    for (const auto &row : cases) {
        tree other = path({"other"}, "g");
        other[0] = row.earlier[0];
        other[0].child_count = 1;
        other[0].children[0] = 1;
        const result without = merged({other, row.earlier});
        const result with = merged({other, row.earlier, row.later});
        ASSERT_EQ(without.conflicts.size(), 0U) << row.text;
        ASSERT_EQ(with.conflicts.size(), 1U) << row.text;
        EXPECT_EQ(with.conflicts[0].tree, 2U);
        EXPECT_EQ(with.conflicts[0].node, row.node) << row.text;
        EXPECT_THAT(with.conflicts[0].text, HasSubstr(row.text));
        EXPECT_EQ(bytes_of(with.nodes), bytes_of(without.nodes)) << row.text;
    }
}

TEST(Merge, NamesTheTreeThatAHandlerCameFrom)
{
    const result of = merged({path({"show"}, {}), path({"show"}, "f"), path({"show"}, "g")});
    ASSERT_EQ(of.conflicts.size(), 1U);
    EXPECT_THAT(of.conflicts[0].text, HasSubstr("but f of module lab in tree \"t1\""));
}

// Children of one place, as many in each of two trees.
std::vector<tree> two_wide(size_t first, size_t second)
{
    std::vector<tree> made(2, trees::of_nodes(1));
    for (size_t i = 0; i < first + second; ++i)
        add(made[i < first ? 0 : 1], 0, "k" + std::to_string(i), "f");
    return made;
}

// A node on each of three levels below the name, and as many leaves as asked for.
tree with_leaves(std::string_view name, size_t leaves)
{
    tree nodes = path({name}, {});
    for (size_t group = 0; leaves > 0; ++group) {
        const uint16_t middle = add(nodes, 1, "g" + std::to_string(group));
        for (; leaves > 0 && nodes[middle].child_count < KIV_NODE_MAX_CHILDREN; --leaves)
            add(nodes, middle, "k" + std::to_string(leaves), "f");
    }
    return nodes;
}

TEST(Merge, ReachesTheLimitsAndStopsThere)
{
    EXPECT_TRUE(merged(two_wide(100, 92)).conflicts.empty());
    const result wide = merged(two_wide(100, 93));
    ASSERT_EQ(wide.conflicts.size(), 1U);
    EXPECT_THAT(wide.conflicts[0].text, StartsWith("the root: 193 children"));
    EXPECT_EQ(wide.nodes.size(), 101U);

    std::vector<tree> large{with_leaves("a", 32000)};
    const size_t left = KIV_TREE_MAX_NODES - large[0].size();
    large.push_back(with_leaves("b", left - 1 - (left - 1 + 192) / 193));
    ASSERT_EQ(large[0].size() + large[1].size() - 1, size_t{KIV_TREE_MAX_NODES});
    const result full = merged(large);
    EXPECT_TRUE(full.conflicts.empty());
    EXPECT_EQ(full.nodes.size(), size_t{KIV_TREE_MAX_NODES});
    EXPECT_TRUE(is_sound(full.nodes));
    large.push_back(path({"b", "one-more"}, "f"));
    const result over = merged(large);
    ASSERT_EQ(over.conflicts.size(), 1U);
    EXPECT_THAT(over.conflicts[0].text, StartsWith("the root: 65537 nodes"));
    EXPECT_EQ(bytes_of(over.nodes), bytes_of(full.nodes));

    tree deep = trees::chain(KIV_TREE_MAX_DEPTH);
    for (size_t i = 1; i < deep.size(); ++i)
        put(deep[i].token, "k");
    EXPECT_TRUE(is_sound(merged({deep, path({"k", "b"}, "f")}).nodes));
}

TEST(Merge, ReportsAFewConflictsOfEachTree)
{
    std::vector<tree> made(3, two_wide(50, 0)[0]);
    for (size_t i = 1; i <= 50; ++i)
        put(made[2][i].func_id, "other");
    const result many = merged(made);
    EXPECT_EQ(many.conflicts.size(), kiv::merge::most_conflicts);
    EXPECT_EQ(left_out(many), std::set<size_t>{2});
}

} // namespace
