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

template <typename Record>
struct freed {
    void operator()(Record *record) const { std::free(record); }
};
template <typename Record>
using owned = std::unique_ptr<Record, freed<Record>>;

void answer(const std::string &reply)
{
    fake_seam::plan({{0, 0, reply}});
}

void answer_over_queue(const std::string &reply)
{
    fake_seam::plan({{}, {0, 0, reply}});
}

bool is_sound_table(const std::string &reply, size_t index_offset, int32_t index, int32_t capacity)
{
    return reply.size() >= index_offset + sizeof index && index >= -1 && index < capacity;
}

bool has_possible_fields(const std::string &reply, int32_t last_index)
{
    for (int32_t i = 0; i <= last_index; ++i) {
        kiv_interface_table_entry entry;
        std::memcpy(&entry, reply.data() + static_cast<size_t>(i) * sizeof entry, sizeof entry);
        const int32_t count = entry.help_info.field_count;
        if (count < 0 || count > KIV_INTF_HELP_FIELDS)
            return false;
    }
    return true;
}

void check_interfaces(const input &from)
{
    constexpr size_t index_offset = offsetof(kiv_interface_table, last_index);
    const std::string reply = from.table(index_offset);
    answer_over_queue(reply);
    kiv_interface_table_entry *entries = nullptr;
    const int count = kivd_interface_table_get(1, &entries);
    const owned<kiv_interface_table_entry> owner(entries);
    const bool is_sound =
        is_sound_table(reply, index_offset, from.index, KIV_INTERFACE_TABLE_CAPACITY) &&
        has_possible_fields(reply, from.index);
    require(count == (is_sound ? from.index + 1 : -1) && (entries != nullptr) == is_sound);
    show_interface_table(entries, count);
    for (int i = 0; i < count; ++i)
        require(strnlen(entries[i].name, sizeof entries[i].name) < sizeof entries[i].name);
}

template <typename Table>
owned<Table> fetch_table(const input &from, int32_t capacity, int get(uint32_t, Table **) noexcept)
{
    constexpr size_t index_offset = offsetof(Table, last_index);
    const std::string reply = from.table(index_offset);
    answer(reply);
    Table *table = nullptr;
    const bool is_sound = is_sound_table(reply, index_offset, from.index, capacity);
    require(get(1, &table) == (is_sound ? 0 : -1) && (table != nullptr) == is_sound);
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
    const auto table =
        fetch_table(from, KIVD_PARAM_SUBTYPE_TABLE_CAPACITY, kivd_param_subtype_table_get);
    require(table == nullptr || table->last_index == from.index);
}

void check_settings(const input &from)
{
    const std::string reply = from.reply(124);
    answer(reply);
    kiv_cfg_info *fetched = nullptr;
    const int result = kivd_kiv_configuration_get(1, &fetched);
    const owned<kiv_cfg_info> owner(fetched);
    kiv_cfg_info received{};
    answer_over_queue(reply);
    require(kivd_kiv_config_info_get(1, &received) == result);
    require(result == (reply.size() >= 124 ? 0 : -1));
    require(result != 0 || std::memcmp(fetched, &received, 124) == 0);
}

void check_words(const input &from)
{
    const std::string reply = from.reply(size_t{KIVD_PARFILE_NAME_SIZE});
    char name[KIVD_PARFILE_NAME_SIZE] = {};
    answer(reply);
    if (kivd_kiv_dynamic_parfile_name_get(1, name) == 0)
        require(reply.c_str() == std::string(name) && reply.size() > std::strlen(name));
    const std::string status = from.reply(sizeof(int32_t));
    answer(status);
    if (status.size() < sizeof(int32_t))
        require(kivd_generate_main_tree(1) == -1);
}

// An unknown type of a rule fails an assertion, as is laid down: they are all known here.
void make_types_known(kivd_perm_group_conf_entry &rule)
{
    rule.rule_type = (rule.rule_type & 1) + 1;
    rule.command_type = (rule.command_type & 3) + 1;
}

void check_role(kivd_perm_group &role)
{
    const bmask4096 nobody = KIV_BMP_INIT(KIV_VSAN_BITS);
    for (kivd_perm_group_conf_entry &rule : role.rules) {
        make_types_known(rule);
        char line[80];
        kivd_perm_group_conf_entry_cli_str_get(line, &rule, role.rule_count);
        require(std::strlen(line) < sizeof line);
    }
    kivd_perm_group_entry_cli_show(&role, &nobody);
    kivd_perm_group_entry_show(&role);
    const int32_t highest = kivd_perm_group_max_rule_id_get(&role);
    require(highest >= 0 && highest <= KIVD_ROLE_RULES);
    require(highest == 0 || kivd_perm_group_next_rule_id_get(&role, highest - 1) == highest);
    require(kivd_perm_group_next_rule_id_get(&role, highest) == -1);
}

void check_roles(const input &from)
{
    const size_t expected = sizeof(kivd_perm_group) * (static_cast<uint8_t>(from.index) % 5);
    const std::string reply = from.reply(expected);
    fake_seam::plan({{0, 0, reply}, {0, 0, from.content}});
    kivd_perm_group *roles = nullptr;
    void *second = nullptr;
    int32_t count = -1;
    const int result = kivd_perm_group_table_get(1, 1, &roles, &second, &count);
    const owned<kivd_perm_group> role_owner(roles);
    const owned<void> second_owner(second);
    const bool is_short = !reply.empty() && reply.size() < sizeof(kivd_perm_group);
    require(result == (is_short ? 51 : 0));
    require(is_short || static_cast<size_t>(count) == reply.size() / sizeof(kivd_perm_group));
    for (int32_t i = 0; i < count; ++i)
        check_role(roles[i]);
    require(kivd_perm_group_locate_entry_by_name(roles, count, "network-admin") < count);
    require(kivd_perm_group_next_role_num_get(roles, from.index, count) <= count);
}

void check_change(const input &from)
{
    kivd_perm_group_conf_cli_wrapper change;
    const std::string content = from.reply(sizeof change + 128);
    std::memcpy(&change, content.data(), sizeof change);
    make_types_known(change.rule);
    change.vsans.size = sizeof change.vsans.bytes;
    change.kind &= 1;
    for (const int32_t message : {911, 913, 919}) {
        char text[KIVD_ROLE_TEXT_SIZE];
        kivd_perm_group_wrapper_cli_str_get(text, message, &change);
        require(std::strlen(text) < sizeof text);
    }
    kivd_perm_group_conf_cli_wrapper_show(&change);
}

constexpr void (*jobs[])(const input &) = {check_interfaces, check_trees, check_subtypes,
                                           check_settings,   check_words, check_roles,
                                           check_change};

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
