// Contributed trees made into one: a tree that was taken apart at random comes back, and each
// reason to leave a tree out.

#include <algorithm>
#include <bitset>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <kiv/extras.h>

#include "grammar/compile.h"
#include "grammar/decompile.h"
#include "lab/merge/merge.h"
#include "trees.h"

using kiv::merge::contribution;
using kiv::merge::result;
using testing::HasSubstr;
using testing::StartsWith;
using trees::put;
using trees::tree;

namespace {

result merged(const std::vector<tree> &trees)
{
    static constexpr std::string_view names[] = {"t0", "t1", "t2", "t3", "t4", "t5", "t6"};
    std::vector<contribution> views;
    views.reserve(trees.size());
    for (const tree &each : trees)
        views.push_back({names[views.size()], each});
    return kiv::merge::merge(views);
}

tree compiled(std::string_view grammar)
{
    const kiv::grammar::result of = kiv::grammar::compile(grammar);
    EXPECT_TRUE(of.errors.empty()) << of.errors[0].text << '\n' << grammar;
    return of.nodes;
}

std::string key_of(const kiv_array_tree_node &node)
{
    std::string key = node.token;
    for (size_t i = 0; i < node.parameter_count; ++i)
        key += "<" + std::to_string(uint32_t{node.parameters[i].maximum}) + ">";
    return key;
}

std::string bytes_of(const tree &nodes)
{
    return {reinterpret_cast<const char *>(nodes.data()), nodes.size() * sizeof nodes[0]};
}

bool is_sound(const tree &nodes)
{
    return kiv_tree_check(nodes.data(), nodes.size() * sizeof nodes[0], nullptr) == 0;
}

bool is_link(const kiv_array_tree_node &node, size_t position)
{
    return (node.childlist_mask[position / 8] >> position % 8 & 1) != 0;
}

// In the order of a merged tree: words that differ in case only, arguments side by side, links.
constexpr std::string_view whole_grammar =
    "keyword configure\n  name configure\n  run configure\n  submode \"c\"\n  link show\n"
    "  keyword VSAN\n    run upper\n"
    "    keyword x\n      run x\n      generator x\n"
    "  keyword vsan\n    name vsan\n"
    "    argument vsan 1..4093\n      run vsan\n      submode \"v\"\n      link end\n"
    "      keyword name\n"
    "        argument string\n          run name\n"
    "      keyword no\n"
    "        keyword name\n          run no_name\n      link vsan\n\n"
    "keyword end\n  name end\n  run end\n  priority 7\n\n"
    "keyword show\n  name show\n"
    "  keyword a\n    run show_all\n"
    "    argument string\n      run show_named\n"
    "    argument vsan 1..4093\n      run show_vsan\n"
    "  keyword B\n    link configure\n"
    "  keyword b\n    run b\n";

// What a part of a tree has of each node.
struct share {
    bool present = false;
    bool command = false;
    std::bitset<8> roles;
    std::bitset<KIV_NODE_MAX_CHILDREN> children; // by their position
};
using selection = std::vector<share>;

// With the owner of each node; of the arguments of a node all or none.
selection random_selection(const tree &nodes, std::mt19937 &random)
{
    selection chosen(nodes.size());
    chosen[0].present = true;
    for (size_t node = 0; node < nodes.size(); ++node) {
        chosen[node].command = chosen[node].present && random() % 2 == 0;
        chosen[node].roles = chosen[node].present ? random() % 256 : 0;
        const bool arguments = random() % 2 == 0;
        for (size_t i = 0; chosen[node].present && i < nodes[node].child_count; ++i) {
            const uint16_t child = nodes[node].children[i];
            const bool wanted = nodes[child].parameter_count != 0 ? arguments : random() % 4 != 0;
            chosen[node].children[i] = wanted;
            chosen[child].present |= wanted && !is_link(nodes[node], i);
        }
    }
    for (size_t node = 0; node < nodes.size(); ++node) {
        for (size_t i = 0; i < nodes[node].child_count; ++i) {
            if (!chosen[nodes[node].children[i]].present)
                chosen[node].children.reset(i); // a link to nowhere
        }
    }
    return chosen;
}

void add_selection(selection &to, const selection &added)
{
    for (size_t node = 0; node < to.size(); ++node) {
        to[node].present |= added[node].present;
        to[node].command |= added[node].command;
        to[node].roles |= added[node].roles;
        to[node].children |= added[node].children;
    }
}

tree part_of(const tree &whole, const selection &chosen)
{
    tree part;
    std::vector<uint16_t> places(whole.size());
    for (size_t i = 0; i < whole.size(); ++i) {
        if (!chosen[i].present)
            continue;
        places[i] = static_cast<uint16_t>(part.size());
        kiv_array_tree_node &node = part.emplace_back(whole[i]);
        node.child_count = 0;
        std::memset(node.childlist_mask, 0, sizeof node.childlist_mask);
        node.permissions_mask[0] = static_cast<uint8_t>(chosen[i].roles.to_ulong());
        if (!chosen[i].command) {
            put(node.func_id, "");
            node.action = 0U;
        }
    }
    for (size_t i = 0; i < whole.size(); ++i) {
        for (size_t child = 0; child < whole[i].child_count; ++child) {
            const auto add = is_link(whole[i], child) ? trees::add_link : trees::add_child;
            if (chosen[i].children[child])
                add(part, places[i], places[whole[i].children[child]]);
        }
    }
    return part;
}

// The same, with its nodes in any order, the root first.
tree shuffled(const tree &nodes, std::mt19937 &random)
{
    std::vector<size_t> places(nodes.size());
    std::iota(places.begin(), places.end(), 0);
    std::shuffle(places.begin() + 1, places.end(), random);
    return trees::reordered(nodes, [&](size_t node) { return places[node]; });
}

TEST(Merge, MakesATreeOfItsParts)
{
    std::mt19937 random(1);
    const tree whole = compiled(whole_grammar);
    ASSERT_EQ(kiv::grammar::decompile(merged({whole}).nodes).text, whole_grammar);
    for (int round = 0; round < 500; ++round) {
        selection all(whole.size());
        std::vector<tree> parts(1 + random() % 6);
        for (tree &part : parts) {
            const selection chosen = random_selection(whole, random);
            add_selection(all, chosen);
            part = shuffled(part_of(whole, chosen), random);
            ASSERT_TRUE(is_sound(part));
        }
        const result made = merged(parts);
        ASSERT_TRUE(made.conflicts.empty()) << made.conflicts[0].text << " in round " << round;
        ASSERT_TRUE(is_sound(made.nodes));
        ASSERT_EQ(bytes_of(made.nodes), bytes_of(merged({part_of(whole, all)}).nodes))
            << "round " << round;
    }
}

TEST(Merge, SortsAndNumbersInOneWay)
{
    tree nodes =
        compiled("argument int 0..5\n  run f\nargument int 0..3\n  run f\n"
                 "keyword b\n  run f\nkeyword B\n  link lone\nkeyword A\n  keyword z\n    run f\n"
                 "keyword a\n  run f\nkeyword \xC3\xBC\n  run f\nkeyword aa\n  run f\n"
                 "keyword lone\n  name lone\n  keyword x\n    run f\n  link lone\n");
    nodes[0].child_count = 8; // so that only links lead to the last one
    for (const size_t times : {1U, 2U}) {
        const result once = merged(std::vector(times, nodes));
        EXPECT_TRUE(once.conflicts.empty()) << once.conflicts[0].text;
        std::vector<std::string> keys(once.nodes.size());
        std::ranges::transform(once.nodes, keys.begin(), key_of);
        EXPECT_THAT(keys, testing::ElementsAre("", "A", "z", "a", "aa", "B", "b", "\xC3\xBC", "<3>",
                                               "<5>", "lone", "x"));
    }
    EXPECT_EQ(bytes_of(merged({}).nodes), bytes_of(trees::of_nodes(1)));
}

TEST(Merge, JoinsWhatASharedNodeIs)
{
    const tree way =
        compiled("keyword show \"way\"\n  module a\n  generator generate\n  priority 9\n"
                 "  command-id 5\n  roles 0\n  interfaces 4\n  action 0x10\n"
                 "  keyword below\n    run f\n");
    const tree command = compiled("keyword show \"command\"\n  module owner\n  priority 2\n"
                                  "  roles 127\n  interfaces 1\n  run f\n");
    for (const auto &trees : {std::vector{way, command}, std::vector{command, way}}) {
        const kiv_array_tree_node shared = merged(trees).nodes.at(1);
        EXPECT_STREQ(shared.func_id, "f");
        EXPECT_STREQ(shared.module_id, "owner");
        EXPECT_EQ(shared.command_id, 0U);
        EXPECT_STREQ(shared.help, "command");
        EXPECT_STREQ(shared.subtree_config_generator, "generate");
        EXPECT_EQ(shared.asciigen_priority, 9);
        EXPECT_EQ(shared.permissions_mask[0] | shared.permissions_mask[15], 0x81);
        EXPECT_EQ(shared.interface_mask, 5U);
        EXPECT_EQ(shared.action, 0x14U);
    }
}

TEST(Merge, LeavesOutExactlyTheTreeThatContradicts)
{
    const std::string link_to_x = "keyword configure\n  link end\n"
                                  "keyword x\n  keyword end\n    name end\n    run end\n";
    const std::string link_to_y = "keyword configure\n  link end\n"
                                  "keyword y\n  keyword end\n    name end\n    run end\n";
    const std::string own_end = "keyword configure\n  keyword end\n    run end\n";
    const std::string argument = "keyword show\n  argument int 0..1\n    run f\n";
    const std::string command = "keyword a\n  run f\n";
    const struct {
        std::string earlier;
        std::string later;
        uint32_t node;
        const char *text;
        void (*change)(tree &) = [](tree &) {}; // of the later one
    } cases[] = {
        {"module fabric\n" + command, "module vsan\n" + command, 1,
         "\"a\": handler f of module vsan, but f of module fabric in tree \"t1\""},
        {command, command + "  command-id 3\n", 1,
         "\"a\": handler f, but with another command id in tree \"t1\""},
        {command + "  generator g\n", command + "  generator h\n", 1,
         "\"a\": configuration generator h with priority 0, but g with priority 0 in tree "
         "\"t1\""},
        {argument + "  argument int 0..2\n    run f\n", argument, 1,
         "\"show\": other arguments than in tree \"t1\""},
        {argument, "keyword show\n  argument int 0..2\n    run f\n", 1,
         "\"show\": other arguments than in tree \"t1\""},
        {link_to_x, link_to_y, 3,
         "\"y end\": a link leads here, but one to another node in tree \"t1\""},
        {own_end, link_to_x, 3,
         "\"x end\": a link leads here, but a node of its own is there in tree \"t1\""},
        {link_to_x, own_end, 2, "\"configure end\": a node of its own, but a link in tree \"t1\""},
        {command, own_end, 2, "\"e\\x0a\": a node with several owners",
         [](tree &nodes) {
             put(nodes[2].token, "e\n");
             trees::add_child(nodes, 0, 2);
         }},
        {command, argument + "  argument int 0..2\n    run f\n", 3,
         "\"show <argument>\": two different children of one node",
         [](tree &nodes) { nodes[3].parameters[0] = nodes[2].parameters[0]; }},
        {command,
         "keyword b\n  link there\nkeyword there\n  name there\n  link back\n"
         "keyword back\n  name back\n  link there\n",
         2, "\"there\": nodes without an owner that link to each other in a circle",
         [](tree &nodes) { nodes[0].child_count = 1; }},
        {command, link_to_x, 0, "the root: a node owns it",
         [](tree &nodes) {
             nodes[0].child_count = 1;
             trees::add_child(nodes, 3, 0);
         }},
        {command, command, 0, "the root: another token",
         [](tree &nodes) { put(nodes[0].token, "ubex"); }},
    };
    for (const auto &row : cases) {
        const tree other = compiled("keyword other\n  run g\n");
        const tree earlier = compiled(row.earlier);
        tree later = compiled(row.later);
        row.change(later);
        const result without = merged({other, earlier});
        const result with = merged({other, earlier, later});
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
    const std::string show = "keyword show\n";
    const result of = merged({compiled(show + "  keyword x\n    run x\n"),
                              compiled(show + "  run f\n"), compiled(show + "  run g\n")});
    ASSERT_EQ(of.conflicts.size(), 1U);
    EXPECT_THAT(of.conflicts[0].text, HasSubstr("but f in tree \"t1\""));
}

// So many commands below the root.
tree commands(size_t first, size_t count, const std::string &function = "f")
{
    std::string grammar;
    for (size_t i = first; i < first + count; ++i)
        grammar += "keyword k" + std::to_string(i) + "\n  run " + function + '\n';
    return compiled(grammar);
}

// So many nodes, the root included, on four levels.
tree large_tree(std::string_view name, size_t nodes)
{
    std::string grammar = "keyword " + std::string(name) + '\n';
    for (size_t i = 0; i < nodes - 2; ++i)
        grammar += (i % 150 == 0 ? "  keyword k" : "    keyword k") + std::to_string(i) + "\n" +
                   (i % 150 == 0 ? "    run f\n" : "      run f\n");
    return compiled(grammar);
}

TEST(Merge, ReachesTheLimitsAndStopsThere)
{
    const tree some = commands(0, 100);
    EXPECT_TRUE(merged({some, commands(100, 92)}).conflicts.empty());
    const result wide = merged({some, commands(100, 93)});
    ASSERT_EQ(wide.conflicts.size(), 1U);
    EXPECT_THAT(wide.conflicts[0].text, StartsWith("the root: 193 children"));
    EXPECT_EQ(bytes_of(wide.nodes), bytes_of(merged({some}).nodes));

    std::vector<tree> large{large_tree("a", 28000), large_tree("b", 28000)};
    large.push_back(large_tree("c", KIV_TREE_MAX_NODES - 2 * 28000 + 2));
    const result full = merged(large);
    EXPECT_TRUE(full.conflicts.empty());
    EXPECT_EQ(full.nodes.size(), size_t{KIV_TREE_MAX_NODES});
    EXPECT_TRUE(is_sound(full.nodes));
    large.push_back(compiled("keyword one-more\n  run f\n"));
    const result over = merged(large);
    ASSERT_EQ(over.conflicts.size(), 1U);
    EXPECT_THAT(over.conflicts[0].text, StartsWith("the root: 65537 nodes"));
    EXPECT_EQ(bytes_of(over.nodes), bytes_of(full.nodes));

    tree deep = trees::chain(KIV_TREE_MAX_DEPTH);
    for (size_t i = 1; i < deep.size(); ++i)
        put(deep[i].token, "k");
    EXPECT_TRUE(is_sound(merged({deep, compiled("keyword k\n  keyword b\n    run f\n")}).nodes));
}

TEST(Merge, ReportsAFewConflictsOfEachTree)
{
    const result many = merged({commands(0, 10), commands(0, 50), commands(0, 50, "other")});
    EXPECT_EQ(many.conflicts.size(), kiv::merge::most_conflicts);
    EXPECT_EQ(many.conflicts.front().tree, 2U);
    EXPECT_EQ(many.conflicts.back().tree, 2U);
}

} // namespace
