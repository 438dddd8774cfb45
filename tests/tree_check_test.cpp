#include <cstddef>
#include <cstring>
#include <functional>
#include <utility>

#include <gtest/gtest.h>

#include <kiv/extras.h>

#include "trees.h"

namespace {

kiv_tree_check_result check(const trees::tree &tree)
{
    kiv_tree_check_result result{-1, 77};
    const int returned = kiv_tree_check(tree.data(), tree.size() * sizeof tree[0], &result);
    EXPECT_EQ(returned, result.fault == KIV_TREE_SOUND ? 0 : -1);
    return result;
}

TEST(TreeCheck, AcceptsWhatTheWalkersCanWalk)
{
    EXPECT_EQ(check(trees::of_nodes(1)).fault, KIV_TREE_SOUND);
    EXPECT_EQ(check(trees::chain(31)).fault, KIV_TREE_SOUND);
    trees::tree linked = trees::chain(3);
    trees::add_link(linked, 2, 0);
    EXPECT_EQ(check(linked).fault, KIV_TREE_SOUND) << "a link may lead anywhere";
    EXPECT_EQ(check(trees::of_nodes(65536)).fault, KIV_TREE_SOUND);
}

TEST(TreeCheck, NamesTheFaultAndTheNode)
{
    const struct {
        const char *what;
        void (*damage)(trees::tree &);
        int32_t fault;
        uint32_t node;
    } cases[] = {
        {"parameter help",
         [](trees::tree &t) {
             t[2].parameter_count = 2;
             std::memset(t[2].parameters[1].help, 'x', sizeof t[2].parameters[1].help);
         },
         KIV_TREE_STRING_OPEN, 2},
        {"parameters", [](trees::tree &t) { t[4].parameter_count = 3; }, KIV_TREE_PARAMETER_COUNT,
         4},
        {"children", [](trees::tree &t) { t[4].child_count = 193; }, KIV_TREE_CHILD_COUNT, 4},
        {"child", [](trees::tree &t) { trees::add_child(t, 4, 5); }, KIV_TREE_CHILD_INDEX, 4},
        {"link", [](trees::tree &t) { trees::add_link(t, 4, 0xFFFF); }, KIV_TREE_CHILD_INDEX, 4},
        {"own child", [](trees::tree &t) { trees::add_child(t, 4, 4); }, KIV_TREE_CYCLE, 4},
        {"cycle", [](trees::tree &t) { trees::add_child(t, 4, 1); }, KIV_TREE_CYCLE, 1},
    };
    for (const auto &row : cases) {
        trees::tree tree = trees::chain(5);
        row.damage(tree);
        const kiv_tree_check_result result = check(tree);
        EXPECT_EQ(result.fault, row.fault) << row.what << ": " << kiv_tree_fault_text(result.fault);
        EXPECT_EQ(result.node, row.node) << row.what;
    }
}

TEST(TreeCheck, FindsEveryStringWithoutAnEnd)
{
    const std::pair<size_t, size_t> fields[] = {
#define FIELD(name) {offsetof(kiv_array_tree_node, name), sizeof(kiv_array_tree_node::name)}
        FIELD(node_name),      FIELD(token),   FIELD(help),      FIELD(submode_help),
        FIELD(submode_prompt), FIELD(func_id), FIELD(module_id), FIELD(subtree_config_generator),
#undef FIELD
    };
    for (const auto &[offset, size] : fields) {
        trees::tree tree = trees::chain(5);
        char *text = reinterpret_cast<char *>(&tree[3]) + offset;
        std::memset(text, 'x', size);
        EXPECT_EQ(check(tree).fault, KIV_TREE_STRING_OPEN) << offset;
        EXPECT_EQ(check(tree).node, 3U) << offset;
        text[1] = '\0';
        EXPECT_EQ(check(tree).fault, KIV_TREE_SOUND) << offset << ": bytes behind the end";
    }
}

TEST(TreeCheck, FindsDepthAlsoThroughSharedNodes)
{
    EXPECT_EQ(check(trees::chain(32)).fault, KIV_TREE_TOO_DEEP);
    // Every part is measured before the one above it: 1 to 20, then 21 above 1, then 22 to 35 above
    // 21. The way from the root through all of them is too long.
    trees::tree tree = trees::of_nodes(36);
    for (uint16_t node = 1; node < 35; ++node) {
        if (node != 20 && node != 21)
            trees::add_child(tree, node, static_cast<uint16_t>(node + 1));
    }
    trees::add_child(tree, 21, 1);
    trees::add_child(tree, 35, 21);
    for (const int child : {1, 21, 22})
        trees::add_child(tree, 0, static_cast<uint16_t>(child));
    EXPECT_EQ(check(tree).fault, KIV_TREE_TOO_DEEP);
}

// Every node has two links to each node of the next level: any walk that visits a path twice would
// not end.
TEST(TreeCheck, VisitsSharedNodesOnceInAnyOrder)
{
    for (const size_t levels : {31U, 32U}) {
        trees::tree tree = trees::of_nodes(2 * levels);
        for (size_t owner = 0; owner < 2 * (levels - 1); ++owner) {
            for (const size_t step : {2U, 3U, 2U, 3U})
                trees::add_child(tree, owner, static_cast<uint16_t>(owner / 2 * 2 + step));
        }
        const size_t last = tree.size() - 1;
        const std::function<size_t(size_t)> orders[] = {
            [](size_t node) { return node; },
            [=](size_t node) { return last - node; },
            [](size_t node) { return node < 20 ? 19 - node : node; },
        };
        for (const auto &place : orders)
            EXPECT_EQ(check(trees::reordered(tree, place)).fault,
                      levels == 31 ? KIV_TREE_SOUND : KIV_TREE_TOO_DEEP);
    }
}

TEST(TreeCheck, RefusesBuffersThatAreNoSequenceOfNodes)
{
    const trees::tree tree = trees::chain(3);
    kiv_tree_check_result result{};
    EXPECT_EQ(kiv_tree_check(nullptr, 1000, nullptr), -1);
    for (const size_t size : {0U, 999U, 2999U}) {
        EXPECT_EQ(kiv_tree_check(tree.data(), size, &result), -1);
        EXPECT_EQ(result.fault, size == 0 ? KIV_TREE_EMPTY : KIV_TREE_CUT_OFF) << size;
    }
    EXPECT_EQ(check(trees::of_nodes(65537)).fault, KIV_TREE_TOO_MANY_NODES);
    EXPECT_STREQ(kiv_tree_fault_text(-1), "unknown fault");
}

} // namespace
