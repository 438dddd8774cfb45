// Whatever the daemon answers: what cannot be is refused, and the rest can be searched and shown.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <kiv/kiv_process_api.h>
#include <kiv/kivd_lib.h>

#include "../tests/fake_seam.h"
#include "require.h"

namespace {

using fuzz::require;

// The rest of the input: what a reply is made of, again and again.
struct input {
    uint8_t size_change; // 128: the size that is expected
    int8_t index;
    std::string content;

    std::string reply(size_t expected_size) const
    {
        const size_t change = size_t{size_change};
        std::string text;
        text.reserve(expected_size + change);
        while (text.size() < expected_size + change && !content.empty())
            text += content;
        text.resize(std::max<size_t>(expected_size + change, 128) - 128);
        return text;
    }

    // With the index as the last word of what is expected, if there is room for it.
    std::string table(size_t index_offset) const
    {
        std::string text = reply(index_offset + sizeof(int32_t));
        const int32_t number = index;
        if (text.size() >= index_offset + sizeof number)
            std::memcpy(text.data() + index_offset, &number, sizeof number);
        return text;
    }
};

struct freed {
    void operator()(void *block) const { std::free(block); }
};
template <typename Record>
using owned = std::unique_ptr<Record, freed>;

void check_interfaces(const input &from)
{
    fake_seam::plan({{}, {0, 0, from.table(offsetof(kiv_interface_table, last_index))}});
    kiv_interface_table_entry *entries = nullptr;
    const int count = kivd_interface_table_get(1, &entries);
    const owned<kiv_interface_table_entry> owner(entries);
    require(count == (entries == nullptr ? -1 : from.index + 1));
    require(count <= KIV_INTERFACE_TABLE_CAPACITY);
    show_interface_table(entries, count);
    for (int i = 0; i < count; ++i)
        require(strnlen(entries[i].name, sizeof entries[i].name) < sizeof entries[i].name);
}

template <typename Table>
owned<Table> fetch_table(const input &from, int32_t capacity, int get(uint32_t, Table **) noexcept)
{
    fake_seam::plan({{0, 0, from.table(offsetof(Table, last_index))}});
    Table *table = nullptr;
    require((get(1, &table) == 0) == (table != nullptr));
    require(table == nullptr || (table->last_index >= -1 && table->last_index < capacity));
    return owned<Table>(table);
}

void check_trees(const input &from)
{
    const auto table = fetch_table(from, KIV_TREE_TABLE_CAPACITY, kivd_tree_table_get);
    if (table == nullptr)
        return;
    require(search_entry_in_tree_table(table.get(), "main.par") <= table->last_index);
    show_tree_table(table->entries, table->last_index + 1);
}

void check_subtypes(const input &from)
{
    fetch_table(from, KIVD_PARAM_SUBTYPE_TABLE_CAPACITY, kivd_param_subtype_table_get);
}

void check_role(kivd_perm_group &role)
{
    for (kivd_perm_group_conf_entry &rule : role.rules) {
        // Others fail an assertion, as is laid down.
        rule.rule_type = (rule.rule_type & 1) + 1;
        rule.command_type = (rule.command_type & 3) + 1;
        char line[80];
        kivd_perm_group_conf_entry_cli_str_get(line, &rule, role.rule_count);
        require(std::strlen(line) < sizeof line);
    }
    const bmask4096 nobody = KIV_BMP_INIT(KIV_VSAN_BITS);
    kivd_perm_group_entry_cli_show(&role, &nobody);
    kivd_perm_group_entry_show(&role);
    const int32_t highest = kivd_perm_group_max_rule_id_get(&role);
    require(highest >= 0 && highest <= KIVD_ROLE_RULES);
    require(kivd_perm_group_next_rule_id_get(&role, highest) == -1);
}

void check_roles(const input &from)
{
    const size_t expected = sizeof(kivd_perm_group) * (static_cast<uint8_t>(from.index) % 5);
    fake_seam::plan({{0, 0, from.reply(expected)}, {0, 0, from.content}});
    kivd_perm_group *roles = nullptr;
    void *second = nullptr;
    int32_t count = -1;
    kivd_perm_group_table_get(1, 1, &roles, &second, &count);
    const owned<kivd_perm_group> role_owner(roles);
    const owned<void> second_owner(second);
    for (int32_t i = 0; i < count; ++i)
        check_role(roles[i]);
    require(kivd_perm_group_locate_entry_by_name(roles, count, "network-admin") < count);
    require(kivd_perm_group_next_role_num_get(roles, from.index, count) <= count);
}

constexpr void (*jobs[])(const input &) = {check_interfaces, check_trees, check_subtypes,
                                           check_roles};

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    constexpr size_t header = 3;
    if (size < header)
        return 0;
    const input from{data[1],
                     static_cast<int8_t>(data[2]),
                     {reinterpret_cast<const char *>(data + header), size - header}};
    jobs[*data % std::size(jobs)](from);
    require(fake_seam::messages_held == 0);
    return 0;
}
