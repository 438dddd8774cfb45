// Masks, records of trees, bounded strings and the tree table.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <gmock/gmock.h>

#include <kiv/common.h>

#include "observed.h"
#include "trees.h"

namespace {

using kiv_tests::bytes_of;
using kiv_tests::printed;

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

TEST(Masks, TakeOverNumbersAndArrays)
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
    const uint8_t array[16] = {0x0C, 0xA0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFE};
    bmask128_from_bitarray(&mask, array);
    EXPECT_EQ(printed([&] { bmask128_printf_hex(&mask); }), "0xfe00000000000000000000000000a00c ")
        << "from the highest byte";
}

TEST(MasksDeathTest, OfTheWrongSizeAbortWithTheExactText)
{
    bmask128 wrong{12, {}};
    EXPECT_DEATH(bmask128_uint64_copy(&wrong, 1),
                 testing::HasSubstr(": bmask128_set_bit: Assertion `b->size == "
                                    "((((128)+31)>>3)&~0x3)' failed."));
}

TEST(BoundedStrings, AcceptNullEverywhere)
{
    char text[4] = "abc";
    EXPECT_EQ(robust_strlen(nullptr), 0U);
    robust_strncat(text, nullptr, sizeof text);
    EXPECT_STREQ(text, "abc");
    robust_strncpy(text, nullptr, sizeof text);
    EXPECT_EQ(bytes_of(text), std::string("\0bc\0", 4)) << "null stores one NUL";
    std::strcpy(text, "abc");
    robust_strcpy(text, nullptr);
    EXPECT_STREQ(text, "");
    robust_strcpy(nullptr, "a");
    robust_strncpy(nullptr, "a", 2);
    robust_strncat(nullptr, "a", 2);
    EXPECT_EQ(robust_strcasecmp(nullptr, nullptr), -1);
    EXPECT_EQ(robust_strcasecmp("a", nullptr), -1);
    EXPECT_EQ(robust_strcasecmp(nullptr, "a"), 1);
    EXPECT_EQ(convert_str_to_uint64(nullptr), 0U);
    EXPECT_EQ(convert_str_to_uint(nullptr), 0U);
    EXPECT_EQ(convert_str_to_int(nullptr), 0);
    char *trimmed = text;
    EXPECT_EQ(strtrim(nullptr, &trimmed), 0);
    EXPECT_EQ(trimmed, nullptr);
    EXPECT_EQ(strtrim("a", nullptr), 0);
}

TEST(BoundedStrings, AreCutTerminatedAndFilledWithinTheSize)
{
    const struct {
        decltype(&robust_strncpy) function;
        const char *source;
        int size;
        const char *bytes; // of the whole buffer, with '.' for NUL
    } cases[] = {
        {robust_strncpy, "vwxyz", 4, "vwx.####"}, {robust_strncpy, "x", 6, "x.....##"},
        {robust_strncpy, "x", 1, ".bc.####"},     {robust_strncpy, "x", 0, "abc.####"},
        {robust_strncpy, "x", -1, "abc.####"},    {robust_strncat, "defgh", 6, "abcde.##"},
        {robust_strncat, "x", 4, "abc.####"},     {robust_strncat, "x", 3, "abc.####"},
        {robust_strncat, "x", -1, "abc.####"},
    };
    for (const auto &row : cases) {
        char text[] = {'a', 'b', 'c', '\0', '#', '#', '#', '#'};
        row.function(text, row.source, static_cast<size_t>(row.size));
        std::string bytes = bytes_of(text);
        std::ranges::replace(bytes, '\0', '.');
        EXPECT_EQ(bytes, row.bytes) << row.source << " in " << row.size;
    }
}

TEST(Converters, ReadEachItsOwnBase)
{
    EXPECT_EQ(convert_str_to_uint64("10"), 16U);
    EXPECT_EQ(convert_str_to_uint64("0x1f"), 31U);
    EXPECT_EQ(convert_str_to_uint64("ffffffffffffffff"), UINT64_MAX);
    EXPECT_EQ(convert_str_to_uint64("none"), 0U);
    EXPECT_EQ(convert_str_to_uint(" 4294967295x"), UINT32_MAX);
    EXPECT_EQ(convert_str_to_uint("010"), 10U);
    EXPECT_EQ(convert_str_to_int("010"), 8);
    EXPECT_EQ(convert_str_to_int("-0x10"), -16);
}

TEST(Trim, CutsSpacesOnlyAndWarnsAboutLongTexts)
{
    const std::string warning = "Error: String length bigger than STRING_BUFFER_SIZE\n";
    const struct {
        std::string source;
        std::string trimmed;
        std::string printed;
    } cases[] = {
        {"", "", ""},
        {"   ", "", ""},
        {"  a b  ", "a b", ""},
        {" \ta\n ", "\ta\n", ""},
        {' ' + std::string(1023, 'a'), std::string(1023, 'a'), ""},
        {' ' + std::string(5000, 'a'), std::string(5000, 'a'), warning},
    };
    for (const auto &row : cases) {
        char unset;
        char *out = &unset;
        int length = -1;
        EXPECT_EQ(printed([&] { length = strtrim(row.source.c_str(), &out); }), row.printed);
        const std::unique_ptr<char, decltype(&std::free)> owner(out, std::free);
        EXPECT_EQ(length, static_cast<int>(row.trimmed.size()));
        EXPECT_EQ(out == nullptr, row.trimmed.empty()) << row.source;
        EXPECT_EQ(out == nullptr ? "" : out, row.trimmed);
    }
}

class TreeTable : public testing::Test {
protected:
    TreeTable() { table->last_index = -1; }

    int insert(const std::string &file)
    {
        kiv_tree_table_entry entry;
        set_tree_table_entry(&entry, "module", file.c_str());
        return insert_entry_in_tree_table(table.get(), &entry);
    }

    int32_t index_of(const char *file) { return search_entry_in_tree_table(table.get(), file); }
    void remove(int32_t index) { EXPECT_EQ(delete_entry_from_tree_table(table.get(), index), 0); }

    const std::unique_ptr<kiv_tree_table> table = std::make_unique<kiv_tree_table>();
};

TEST_F(TreeTable, HoldsFiveHundredAndTwelveEntries)
{
    for (int i = 0; i < 512; ++i)
        ASSERT_EQ(insert("tree" + std::to_string(i)), 0) << i;
    EXPECT_EQ(insert("one more"), -1);
    EXPECT_EQ(index_of("tree511"), 511);
    for (const int32_t last : {511, 512, INT32_MAX}) {
        table->last_index = last;
        EXPECT_EQ(index_of("one more"), -1);
        EXPECT_EQ(insert("one more"), -1) << "outside itself";
        remove(0);
        EXPECT_EQ(table->last_index, last - 1);
    }
}

TEST_F(TreeTable, FindsTheFirstOfTheExactNameAndDeletesByIndex)
{
    EXPECT_EQ(index_of("b"), -1) << "in an empty table";
    for (const char *file : {"a", "b", "b", "c.par"})
        insert(file);
    EXPECT_EQ(index_of("b"), 1);
    for (const char *name : {"B", "c.pa", static_cast<const char *>(nullptr)})
        EXPECT_EQ(index_of(name), -1);
    remove(0);
    EXPECT_EQ(index_of("b"), 0);
    EXPECT_EQ(index_of("c.par"), 2);
    remove(7);
    EXPECT_EQ(table->last_index, 1) << "an index behind the end takes the last entry off";
    remove(-1);
    EXPECT_EQ(table->last_index, 1) << "a search without result deletes nothing";
    for (int i = 0; i < 3; ++i)
        remove(0);
    EXPECT_EQ(table->last_index, -2) << "also from an empty table";
    EXPECT_EQ(index_of("b"), -1);
    EXPECT_EQ(insert("d"), -1) << "before the first slot";
    EXPECT_EQ(table->last_index, -2);
}

TEST(TreeTableEntry, CutsStringsToTheirFields)
{
    kiv_tree_table_entry entry;
    std::memset(&entry, 'x', sizeof entry);
    set_tree_table_entry(&entry, std::string(24, 'm').c_str(), nullptr);
    EXPECT_EQ(entry.module_id, std::string(23, 'm'));
    EXPECT_EQ(std::string(entry.par_file_name, 64), std::string(64, '\0')) << "nothing old stays";
    set_tree_table_entry(&entry, nullptr, std::string(100, 'p').c_str());
    kiv_tree_table_entry copy;
    copy_tree_table_entry(&entry, &copy);
    EXPECT_EQ(copy.par_file_name, std::string(63, 'p'));

    kiv_subtree_path path;
    EXPECT_EQ(populate_subtree_path(&path, -3, std::string(999, 'l').c_str()), 0);
    EXPECT_EQ(path.location, std::string(sizeof path.location - 1, 'l'));
    EXPECT_EQ(path.path_type, -3);
    populate_subtree_path(&path, 0, nullptr);
    EXPECT_STREQ(path.location, "");
}

TEST(TreeOrder, IsThatOfTokensWithoutTheirCase)
{
    kiv_array_tree_node a{};
    kiv_array_tree_node b{};
    std::strcpy(a.token, "Interface");
    std::strcpy(b.token, "interfaces");
    EXPECT_LT(treelink_lexicograph_cmp(&a, &b), 0);
    EXPECT_GT(treelink_lexicograph_cmp(&b, &a), 0);
    EXPECT_EQ(robust_strcasecmp("ABC", "abc"), 0);
    kiv_ptr_tree_node named = trees::ptr_node(a.token);
    kiv_ptr_tree_node nameless{};
    EXPECT_EQ(treegen_lexicograph_cmp(&named, &named), 0);
    EXPECT_EQ(treegen_lexicograph_cmp(&named, &nameless), -1);
}

} // namespace
