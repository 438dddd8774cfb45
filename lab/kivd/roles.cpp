// Configured roles and their changes.

#include <algorithm>
#include <cstring>
#include <string>

#include <kiv/platform/syserr.h>

#include "support/field_text.h"
#include "tables.h"

namespace kivd {

namespace {

template <size_t Size>
std::string text_of(const char (&field)[Size])
{
    return std::string(kiv::support::field_text(field));
}

// A role is made by its first change, as a file is by its first write.
struct found_role {
    uint32_t error;
    size_t index;
};

bool is_role_name(const std::string &name)
{
    return !name.empty() && name.size() < KIVD_ROLE_NAME_SIZE &&
           std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 0x7F; });
}

found_role find_changeable(const tables &all, const kivd_perm_group_conf_cli_wrapper &change)
{
    const std::string name = text_of(change.role_name);
    if (!is_role_name(name))
        return {KIV_ERROR_BAD_MESSAGE, 0};
    if (kivd_static_perm_group_locate_entry_by_name(
            kivd_static_perm_group_table, kivd_static_perm_group_table_size, name.c_str()) >= 0)
        return {KIV_ERROR_ROLE_FIXED, 0};
    const int32_t index = find_role(all, name);
    return index < 0 ? found_role{KIV_ERROR_ROLE_UNKNOWN, 0}
                     : found_role{0, static_cast<size_t>(index)};
}

bool is_sound(const kivd_perm_group_conf_entry &rule)
{
    return (rule.rule_type == KIVD_RULE_PERMIT || rule.rule_type == KIVD_RULE_DENY) &&
           rule.command_type >= KIVD_COMMAND_CLEAR && rule.command_type <= KIVD_COMMAND_EXEC &&
           strnlen(rule.feature, sizeof rule.feature) < sizeof rule.feature;
}

void shrink(kivd_perm_group &role)
{
    role.rule_count = kivd_perm_group_max_rule_id_get(&role);
}

uint32_t set_rule(kivd_perm_group &role, const kivd_perm_group_conf_cli_wrapper &change)
{
    if (change.rule_num < 1 || change.rule_num > KIVD_ROLE_RULES)
        return KIV_ERROR_BAD_MESSAGE;
    kivd_perm_group_conf_entry &slot = role.rules[change.rule_num - 1];
    if (change.no_flag == 1) {
        if (change.rule_num > role.rule_count || slot.slot_state != 0)
            return KIV_ERROR_NOT_FOUND;
        slot.slot_state = 1;
        shrink(role);
        return 0;
    }
    if (!is_sound(change.rule))
        return KIV_ERROR_BAD_MESSAGE;
    kivd_perm_group_conf_entry_copy(&slot, &change.rule);
    slot.slot_state = 0;
    role.rule_count = std::max(role.rule_count, change.rule_num);
    return 0;
}

// A role without a policy of its own permits every virtual SAN.
void permit_all(bmask4096 &vsans)
{
    std::fill(std::begin(vsans.bytes), std::end(vsans.bytes), uint8_t{0xFF});
}

} // namespace

int32_t find_role(const tables &all, std::string_view name)
{
    return kivd_perm_group_locate_entry_by_name(all.roles.data(), all.role_count,
                                                std::string(name).c_str());
}

uint32_t change_rule(tables &all, const kivd_perm_group_conf_cli_wrapper &change)
{
    const auto [error, index] = find_changeable(all, change);
    if (error != 0)
        return error;
    bmask4096 &vsans = all.role_vsans[index];
    switch (change.kind) {
    case KIVD_ROLE_CHANGE_RULE:
        return set_rule(all.roles[index], change);
    case KIVD_ROLE_CHANGE_VSAN_LIST:
        if (change.vsans.size != sizeof vsans.bytes)
            return KIV_ERROR_BAD_MESSAGE;
        vsans = change.vsans;
        return 0;
    case KIVD_ROLE_CHANGE_VSAN_POLICY:
        if (change.no_flag == 1)
            permit_all(vsans);
        else
            bitset_clear(reinterpret_cast<bitset *>(&vsans));
        return 0;
    default:
        return KIV_ERROR_BAD_MESSAGE;
    }
}

uint32_t change_description(tables &all, const kivd_perm_group_conf_cli_wrapper &change)
{
    const auto [error, index] = find_changeable(all, change);
    if (error != 0)
        return error;
    const std::string text = change.no_flag == 1 ? std::string() : text_of(change.description);
    robust_strncpy(all.roles[index].description, text.c_str(), KIVD_ROLE_DESCRIPTION_SIZE);
    return 0;
}

uint32_t change_role(tables &all, const kivd_perm_group_conf_cli_wrapper &change)
{
    const auto [error, index] = find_changeable(all, change);
    if (error != 0 && error != KIV_ERROR_ROLE_UNKNOWN)
        return error;
    if (change.no_flag == 1) {
        if (error != 0)
            return error;
        const auto count = static_cast<size_t>(all.role_count);
        std::copy(&all.roles[index] + 1, all.roles.data() + count, &all.roles[index]);
        std::copy(&all.role_vsans[index] + 1, all.role_vsans.data() + count,
                  &all.role_vsans[index]);
        --all.role_count;
        return 0;
    }
    if (error == 0)
        return KIV_ERROR_EXISTS;
    if (all.role_count >= role_capacity)
        return KIV_ERROR_TABLE_FULL;
    const auto added = static_cast<size_t>(all.role_count++);
    all.roles[added] = {};
    for (kivd_perm_group_conf_entry &slot : all.roles[added].rules)
        slot.slot_state = 1;
    robust_strncpy(all.roles[added].name, text_of(change.role_name).c_str(), KIVD_ROLE_NAME_SIZE);
    all.roles[added].valid = 1;
    all.role_vsans[added].size = sizeof all.role_vsans[added].bytes;
    permit_all(all.role_vsans[added]);
    return 0;
}

} // namespace kivd
