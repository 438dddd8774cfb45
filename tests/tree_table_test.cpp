#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <kiv/common.h>

#include "trees.h"

namespace {

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
    std::strcpy(b.token, "INTERFACE");
    EXPECT_EQ(treelink_lexicograph_cmp(&a, &b), 0);
    std::strcpy(b.token, "interfaces");
    EXPECT_LT(treelink_lexicograph_cmp(&a, &b), 0);

    kiv_ptr_tree_node named = trees::ptr_node(a.token);
    kiv_ptr_tree_node nameless{};
    EXPECT_EQ(treegen_lexicograph_cmp(&named, &named), 0);
    EXPECT_EQ(treegen_lexicograph_cmp(&named, &nameless), -1);
    EXPECT_EQ(treegen_lexicograph_cmp(&nameless, &named), 1);
}

} // namespace
