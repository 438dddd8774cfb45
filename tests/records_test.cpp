#include <cstring>
#include <string>

#include <gmock/gmock.h>

#include <kiv/common.h>

#include "observed.h"
#include "trees.h"

using testing::AllOf;
using testing::HasSubstr;

namespace {

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
    EXPECT_EQ(kiv_be64_get(parameter.type_mask), 0x0102030405060708U);
    EXPECT_EQ(kiv_be16_get(kiv_be16_make(0xFFFE)), 0xFFFE);
}

TEST(Conversion, LeavesEveryByteAsItIs)
{
    trees::tree tree = trees::chain(4);
    for (kiv_array_tree_node &node : tree) {
        std::memset(node.token, 'x', sizeof node.token);
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
    trees::tree too_deep = trees::chain(32);
    for (const auto convert : {hton_array_tree, ntoh_array_tree}) {
        EXPECT_EXIT(convert(too_deep.data(), 0, 0), testing::ExitedWithCode(255),
                    "^Fatal error: Tree exceeded maximum depth \n$");
        convert(too_deep.data(), 1, 0);
    }
}

// Only the last of many children is a link: the bit is looked up at its own position.
TEST(Conversion, DoesNotFollowLinksButTheCheckForCyclesDoes)
{
    trees::tree wide = trees::of_nodes(KIV_NODE_MAX_CHILDREN);
    for (uint16_t child = 1; child < KIV_NODE_MAX_CHILDREN; ++child)
        trees::add_child(wide, 0, child);
    EXPECT_EQ(cycle_check(wide.data(), 0, 29), 0);
    EXPECT_EQ(cycle_check(wide.data(), 0, 30), 1);
    trees::add_link(wide, 0, 0);
    convert_both_ways(wide);
    EXPECT_EQ(cycle_check(wide.data(), 0, 0), 1);
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
    EXPECT_EQ(kiv_get_param_type_from_mask(0xAAAAAAAA11111111, 0xBBBBBBBB22222222),
              0x2222222211111111U)
        << "joins the low halves";
}

TEST(Masks, ArePrintedFromTheHighestByte)
{
    bmask128 mask = KIV_BMP_INIT(128);
    const uint8_t array[16] = {0x0C, 0xA0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFE};
    bmask128_from_bitarray(&mask, array);
    EXPECT_EQ(kiv_tests::printed([&] { bmask128_printf_hex(&mask); }),
              "0xfe00000000000000000000000000a00c ");
}

TEST(MaskDeathTest, AMaskOfTheWrongSizeAbortsWithTheExactText)
{
    static bmask128 wrong128{12, {}};
    static bmask256 wrong256{16, {}};
    const struct {
        const char *function;
        void (*call)();
        const char *bits;
    } cases[] = {
        {"bmask128_set_bit", [] { bmask128_uint64_copy(&wrong128, 1); }, "128"},
        {"bmask256_from_bitarray", [] { bmask256_from_bitarray(&wrong256, wrong256.bytes); },
         "256"},
        {"bmask128_printf_hex", [] { bmask128_printf_hex(&wrong128); }, "128"},
        {"bmask256_is_bit_set", [] { bmask256_is_bit_set(&wrong256, 0); }, "256"},
    };
    for (const auto &row : cases) {
        const std::string expected = std::string(": ") + row.function +
                                     ": Assertion `b->size == ((((" + row.bits +
                                     ")+31)>>3)&~0x3)' failed.";
        EXPECT_DEATH(row.call(), AllOf(HasSubstr("bmp_template:"), HasSubstr(expected)))
            << row.function;
    }
}

} // namespace
