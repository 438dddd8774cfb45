#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

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

struct fault_case {
    const char *what;
    std::function<void(trees::tree &)> damage;
    int32_t fault;
    uint32_t node;
};

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
    const fault_case cases[] = {
        {"parameter help",
         [](auto &t) {
             t[2].parameter_count = 2;
             std::memset(t[2].parameters[1].help, 'x', sizeof t[2].parameters[1].help);
         },
         KIV_TREE_STRING_OPEN, 2},
        {"parameters", [](auto &t) { t[4].parameter_count = 3; }, KIV_TREE_PARAMETER_COUNT, 4},
        {"children", [](auto &t) { t[4].child_count = 193; }, KIV_TREE_CHILD_COUNT, 4},
        {"child", [](auto &t) { trees::add_child(t, 4, 5); }, KIV_TREE_CHILD_INDEX, 4},
        {"link", [](auto &t) { trees::add_link(t, 4, 0xFFFF); }, KIV_TREE_CHILD_INDEX, 4},
        {"own child", [](auto &t) { trees::add_child(t, 4, 4); }, KIV_TREE_CYCLE, 4},
        {"cycle", [](auto &t) { trees::add_child(t, 4, 1); }, KIV_TREE_CYCLE, 1},
    };
    for (const fault_case &row : cases) {
        trees::tree tree = trees::chain(5);
        row.damage(tree);
        const kiv_tree_check_result result = check(tree);
        EXPECT_EQ(result.fault, row.fault) << row.what << ": " << kiv_tree_fault_text(result.fault);
        EXPECT_EQ(result.node, row.node) << row.what;
    }
}

TEST(TreeCheck, FindsEveryStringWithoutAnEnd)
{
    struct string_field {
        size_t offset;
        size_t size;
    };
    using node = kiv_array_tree_node;
    const string_field fields[] = {
        {offsetof(node, node_name), sizeof(node::node_name)},
        {offsetof(node, token), sizeof(node::token)},
        {offsetof(node, help), sizeof(node::help)},
        {offsetof(node, submode_help), sizeof(node::submode_help)},
        {offsetof(node, submode_prompt), sizeof(node::submode_prompt)},
        {offsetof(node, func_id), sizeof(node::func_id)},
        {offsetof(node, module_id), sizeof(node::module_id)},
        {offsetof(node, subtree_config_generator), sizeof(node::subtree_config_generator)},
    };
    for (const string_field &field : fields) {
        trees::tree tree = trees::chain(5);
        char *text = reinterpret_cast<char *>(&tree[3]) + field.offset;
        std::memset(text, 'x', field.size);
        EXPECT_EQ(check(tree).fault, KIV_TREE_STRING_OPEN) << field.offset;
        EXPECT_EQ(check(tree).node, 3U) << field.offset;
        text[1] = '\0';
        EXPECT_EQ(check(tree).fault, KIV_TREE_SOUND) << field.offset << ": bytes behind the end";
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

// 31 levels, every node with two owners' links to each node of the next: any walk that visits a
// path twice would not end.
TEST(TreeCheck, VisitsSharedNodesOnce)
{
    constexpr size_t levels = 31;
    trees::tree tree = trees::of_nodes(2 * levels);
    for (size_t owner = 0; owner < 2 * (levels - 1); ++owner) {
        const size_t next_level = (owner / 2 + 1) * 2;
        for (const size_t child : {next_level, next_level + 1, next_level, next_level + 1})
            trees::add_child(tree, owner, static_cast<uint16_t>(child));
    }
    EXPECT_EQ(check(tree).fault, KIV_TREE_SOUND);

    // The same in other orders: children first, and both ways mixed.
    const size_t last = tree.size() - 1;
    const auto first_half_turned = [](size_t node) { return node < 20 ? 19 - node : node; };
    EXPECT_EQ(check(trees::reordered(tree, [=](size_t node) { return last - node; })).fault,
              KIV_TREE_SOUND);
    EXPECT_EQ(check(trees::reordered(tree, first_half_turned)).fault, KIV_TREE_SOUND);
    trees::tree deeper = trees::of_nodes(2 * levels + 2);
    std::ranges::copy(tree, deeper.begin());
    trees::add_child(deeper, last, static_cast<uint16_t>(last + 1));
    for (const auto &way : std::vector<std::function<size_t(size_t)>>{
             [](size_t node) { return node; }, [=](size_t node) { return last + 2 - node; },
             first_half_turned})
        EXPECT_EQ(check(trees::reordered(deeper, way)).fault, KIV_TREE_TOO_DEEP);
}

TEST(TreeCheck, RefusesBuffersThatAreNoSequenceOfNodes)
{
    const trees::tree tree = trees::chain(3);
    kiv_tree_check_result result{};
    EXPECT_EQ(kiv_tree_check(tree.data(), 0, &result), -1);
    EXPECT_EQ(result.fault, KIV_TREE_EMPTY);
    EXPECT_EQ(kiv_tree_check(nullptr, 1000, nullptr), -1);
    for (const size_t size : {1U, 999U, 1001U, 2999U}) {
        EXPECT_EQ(kiv_tree_check(tree.data(), size, &result), -1);
        EXPECT_EQ(result.fault, KIV_TREE_CUT_OFF) << size;
    }
    EXPECT_EQ(check(trees::of_nodes(65537)).fault, KIV_TREE_TOO_MANY_NODES);
    EXPECT_STREQ(kiv_tree_fault_text(-1), "unknown fault");
    EXPECT_STREQ(kiv_tree_fault_text(KIV_TREE_CYCLE), "node is its own descendant");
}

// The buffer ends where memory ends, so a read behind it would kill the test.
TEST(TreeCheck, ReadsNothingOutsideTheBuffer)
{
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t pages = (4000 + page - 1) / page;
    auto *memory = static_cast<uint8_t *>(mmap(nullptr, (pages + 1) * page, PROT_READ | PROT_WRITE,
                                               MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(memory, MAP_FAILED);
    ASSERT_EQ(mprotect(memory + pages * page, page, PROT_NONE), 0);
    for (const int filling : {0x00, 0x01, 0x7F, 0xFF}) {
        uint8_t *tree = memory + pages * page - 4000;
        std::memset(tree, filling, 4000);
        kiv_tree_check_result result{};
        EXPECT_EQ(kiv_tree_check(tree, 4000, &result), filling == 0 ? 0 : -1);
    }
    munmap(memory, (pages + 1) * page);
}

} // namespace
