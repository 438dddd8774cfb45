#include <cstring>
#include <string>

#include <gmock/gmock.h>

#include <kiv/common.h>

#include "trees.h"

namespace {

using testing::ExitedWithCode;
using testing::HasSubstr;

constexpr int depth_exit_status = 255;

void convert_both_ways(trees::tree &tree)
{
    hton_array_tree(tree.data(), 0, 0);
    ntoh_array_tree(tree.data(), 0, 0);
}

TEST(BigEndianFields, HoldTheHighestByteFirstAtAnyAddress)
{
    kiv_parameter parameter{};
    parameter.type = TYPE_INT;
    parameter.type_mask = 0x0102030405060708;
    const uint8_t expected[] = {0x40, 0x10, 0x00, 0x01, 1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(std::memcmp(&parameter, expected, sizeof expected), 0);
    EXPECT_EQ(parameter.type, static_cast<uint32_t>(TYPE_INT));
    EXPECT_EQ(kiv_be64_get(parameter.type_mask), 0x0102030405060708U);
    EXPECT_EQ(kiv_be16_get(kiv_be16_make(0xFFFE)), 0xFFFE);
}

TEST(ParameterTypeFromMask, JoinsTheLowHalves)
{
    EXPECT_EQ(kiv_get_param_type_from_mask(0xAAAAAAAA11111111, 0xBBBBBBBB22222222),
              0x2222222211111111U);
}

TEST(Conversion, LeavesEveryByteAsItIs)
{
    trees::tree tree = trees::chain(4);
    for (kiv_array_tree_node &node : tree) {
        std::memset(node.token, 'x', sizeof node.token);
        node.parameter_count = 2;
        node.action = KIV_ACTION_SUBMODE;
        node.interface_mask = 0x8000000000000001;
    }
    const trees::tree before = tree;
    convert_both_ways(tree);
    EXPECT_EQ(std::memcmp(tree.data(), before.data(), before.size() * sizeof before[0]), 0);
    ntoh_array_tree(nullptr, 0, 0);
    hton_array_tree(nullptr, 0, 0);
}

TEST(Conversion, WalksAsDeepAsATreeMayBe)
{
    trees::tree deepest = trees::chain(31);
    convert_both_ways(deepest);
    trees::tree too_deep = trees::chain(32);
    const char *message = "^Fatal error: Tree exceeded maximum depth \n$";
    EXPECT_EXIT(ntoh_array_tree(too_deep.data(), 0, 0), ExitedWithCode(depth_exit_status), message);
    EXPECT_EXIT(hton_array_tree(too_deep.data(), 0, 0), ExitedWithCode(depth_exit_status), message);
    EXPECT_EXIT(ntoh_array_tree(too_deep.data(), 0, 31), ExitedWithCode(depth_exit_status),
                message);
    ntoh_array_tree(too_deep.data(), 1, 0);
}

TEST(Conversion, DoesNotFollowLinks)
{
    trees::tree tree = trees::chain(3);
    trees::add_link(tree, 2, 0);
    convert_both_ways(tree);

    // Only the last of many children is a link: the bit is looked up at its own position.
    trees::tree wide = trees::of_nodes(KIV_NODE_MAX_CHILDREN);
    for (uint16_t child = 1; child < KIV_NODE_MAX_CHILDREN; ++child)
        trees::add_child(wide, 0, child);
    trees::add_link(wide, 0, 0);
    convert_both_ways(wide);
    std::memset(wide[0].childlist_mask, 0, sizeof wide[0].childlist_mask);
    wide[0].childlist_mask[0] = 0x01;
    EXPECT_EXIT(ntoh_array_tree(wide.data(), 0, 0), ExitedWithCode(depth_exit_status), "Fatal");
}

TEST(CycleCheck, FollowsLinksToo)
{
    trees::tree tree = trees::chain(31);
    EXPECT_EQ(cycle_check(tree.data(), 0, 0), 0);
    EXPECT_EQ(cycle_check(tree.data(), 0, 1), 1);
    trees::tree linked = trees::chain(3);
    trees::add_link(linked, 2, 0);
    EXPECT_EQ(cycle_check(linked.data(), 0, 0), 1);
    EXPECT_EQ(cycle_check(nullptr, 0, 40), 0);
}

TEST(Masks, TakeOverTheBitsOfANumber)
{
    bmask128 mask = KIV_BMP_INIT(128);
    bmask128_set_bit(&mask, 100);
    EXPECT_EQ(bmask128_uint64_copy(&mask, 0), 0);
    EXPECT_EQ(bmask128_uint64_copy(&mask, 1ULL << 63 | 1), 0);
    EXPECT_EQ(bmask128_uint32_copy(&mask, 0x80000002), 0);
    const uint8_t expected[16] = {0x03, 0, 0, 0x80, 0, 0, 0, 0x80, 0, 0, 0, 0, 0x10};
    EXPECT_EQ(std::memcmp(mask.bytes, expected, sizeof expected), 0);
}

struct wrong_size_case {
    const char *function;
    void (*call)();
    const char *bits;
};

bmask128 wrong128{12, {}};
bmask256 wrong256{16, {}};

const wrong_size_case wrong_size_cases[] = {
    {"bmask128_set_bit", [] { bmask128_set_bit(&wrong128, 0); }, "128"},
    {"bmask128_from_bitarray", [] { bmask128_from_bitarray(&wrong128, wrong128.bytes); }, "128"},
    {"bmask128_printf_hex", [] { bmask128_printf_hex(&wrong128); }, "128"},
    {"bmask256_from_bitarray", [] { bmask256_from_bitarray(&wrong256, wrong256.bytes); }, "256"},
    {"bmask256_printf_hex", [] { bmask256_printf_hex(&wrong256); }, "256"},
    {"bmask256_is_bit_set", [] { bmask256_is_bit_set(&wrong256, 0); }, "256"},
    {"bmask128_set_bit", [] { bmask128_uint64_copy(&wrong128, 1); }, "128"},
};

TEST(MaskDeathTest, AMaskOfTheWrongSizeAbortsWithTheExactText)
{
    for (const wrong_size_case &row : wrong_size_cases) {
        const std::string expected = std::string(": ") + row.function +
                                     ": Assertion `b->size == ((((" + row.bits +
                                     ")+31)>>3)&~0x3)' failed.";
        EXPECT_DEATH(row.call(), testing::AllOf(HasSubstr("bmp_template:"), HasSubstr(expected)))
            << row.function;
    }
}

} // namespace
