#include <algorithm>
#include <cstring>
#include <string_view>

#include <strings.h>

#include <kiv/common.h>

#include "text.h"

static_assert(sizeof(kiv_tree_table_entry) == 88);
static_assert(offsetof(kiv_tree_table_entry, par_file_name) == 24);
static_assert(sizeof(kiv_tree_table) == 45060);
static_assert(offsetof(kiv_tree_table, last_index) == 45056);
static_assert(offsetof(kiv_subtree_path, location) == 4);

namespace {

constexpr int32_t last_slot = KIV_TREE_TABLE_CAPACITY - 1;

// The last entry that there is memory for, whatever the table says.
int32_t last_entry(const kiv_tree_table &table)
{
    return std::min(table.last_index, last_slot);
}

} // namespace

int treelink_lexicograph_cmp(const kiv_array_tree_node *a, const kiv_array_tree_node *b) noexcept
{
    KIV_ASSERT("common", a);
    KIV_ASSERT("common", b);
    return strncasecmp(a->token, b->token, sizeof a->token);
}

int treegen_lexicograph_cmp(const kiv_ptr_tree_node *a, const kiv_ptr_tree_node *b) noexcept
{
    KIV_ASSERT("common", a);
    KIV_ASSERT("common", b);
    return robust_strcasecmp(a->token, b->token);
}

void set_tree_table_entry(kiv_tree_table_entry *entry, const char *module_id,
                          const char *par_file) noexcept
{
    KIV_ASSERT("common", entry);
    kiv_tree_table_entry filled{};
    robust_strncpy(filled.module_id, module_id, sizeof filled.module_id);
    robust_strncpy(filled.par_file_name, par_file, sizeof filled.par_file_name);
    *entry = filled;
}

void copy_tree_table_entry(const kiv_tree_table_entry *src, kiv_tree_table_entry *dst) noexcept
{
    KIV_ASSERT("common", src);
    KIV_ASSERT("common", dst);
    set_tree_table_entry(dst, src->module_id, src->par_file_name);
}

int32_t search_entry_in_tree_table(const kiv_tree_table *table, const char *par_file) noexcept
{
    KIV_ASSERT("common", table);
    if (par_file == nullptr)
        return -1;
    const std::string_view wanted = par_file;
    const int32_t last = last_entry(*table);
    for (int32_t i = 0; i <= last; ++i) {
        if (kiv::field_text(table->entries[i].par_file_name) == wanted)
            return i;
    }
    return -1;
}

int insert_entry_in_tree_table(kiv_tree_table *table, const kiv_tree_table_entry *entry) noexcept
{
    KIV_ASSERT("common", table);
    KIV_ASSERT("common", entry);
    if (table->last_index >= last_slot || table->last_index < -1)
        return -1;
    ++table->last_index;
    copy_tree_table_entry(entry, &table->entries[table->last_index]);
    return 0;
}

int delete_entry_from_tree_table(kiv_tree_table *table, int32_t index) noexcept
{
    KIV_ASSERT("common", table);
    if (index < 0 || table->last_index == INT32_MIN)
        return 0;
    const int32_t last = last_entry(*table);
    for (int32_t i = index; i < last; ++i)
        copy_tree_table_entry(&table->entries[i + 1], &table->entries[i]);
    --table->last_index;
    return 0;
}

int populate_subtree_path(kiv_subtree_path *path, int32_t type, const char *location) noexcept
{
    KIV_ASSERT("common", path);
    robust_strncpy(path->location, location, sizeof path->location);
    path->path_type = type;
    return 0;
}
