// Roles: the predefined ones, rules and changes, and how they are found.

#include <algorithm>
#include <string_view>

#include <kiv/kivd_lib.h>

#include "common/text.h"
#include "kivd_lib/role_fields.h"

static_assert(sizeof(kivd_perm_group_conf_entry) == 48);
static_assert(offsetof(kivd_perm_group_conf_entry, rule_type) == 0);
static_assert(offsetof(kivd_perm_group_conf_entry, command_type) == 4);
static_assert(offsetof(kivd_perm_group_conf_entry, feature) == 8);
static_assert(offsetof(kivd_perm_group_conf_entry, all_features) == 40);
static_assert(offsetof(kivd_perm_group_conf_entry, slot_state) == 44);

static_assert(sizeof(kivd_perm_group) == 876);
static_assert(offsetof(kivd_perm_group, description) == 0);
static_assert(offsetof(kivd_perm_group, rules) == 68);
static_assert(offsetof(kivd_perm_group, name) == 836);
static_assert(offsetof(kivd_perm_group, rule_count) == 868);
static_assert(offsetof(kivd_perm_group, valid) == 872);

static_assert(sizeof(kivd_static_perm_group) == 168);
static_assert(offsetof(kivd_static_perm_group, name) == 0);
static_assert(offsetof(kivd_static_perm_group, description) == 32);
static_assert(offsetof(kivd_static_perm_group, detail) == 97);
static_assert(offsetof(kivd_static_perm_group, valid) == 164);

static_assert(sizeof(kivd_perm_group_conf_cli_wrapper) == 880);
static_assert(offsetof(kivd_perm_group_conf_cli_wrapper, kind) == 0);
static_assert(offsetof(kivd_perm_group_conf_cli_wrapper, rule_num) == 4);
static_assert(offsetof(kivd_perm_group_conf_cli_wrapper, rule) == 8);
static_assert(offsetof(kivd_perm_group_conf_cli_wrapper, no_flag) == 56);
static_assert(offsetof(kivd_perm_group_conf_cli_wrapper, role_name) == 60);
static_assert(offsetof(kivd_perm_group_conf_cli_wrapper, description) == 92);
static_assert(offsetof(kivd_perm_group_conf_cli_wrapper, vsans) == 160);
static_assert(offsetof(kivd_perm_group_conf_cli_wrapper, reserved) == 676);

const kivd_static_perm_group kivd_static_perm_group_table[KIVD_STATIC_ROLES] = {
    {"network-admin", "Predefined Network Admin group. This role cannot be modified",
     "Access to all the switch commands", 1},
    {"network-operator", "Predefined Network Operator group. This role cannot be modified",
     "Access to Show commands and selected Exec commands", 1},
    {"svc-admin", "Predefined SVC Admin group. This role cannot be modified",
     "Access to all SAN Volume Controller commands", 1},
    {"svc-operator", "Predefined SVC Operator group. This role cannot be modified",
     "Access to selected SAN Volume Controller commands", 1},
};
const int32_t kivd_static_perm_group_table_size = KIVD_STATIC_ROLES;

namespace {

template <typename Role>
int32_t find_role(const Role *table, int32_t count, const char *name)
{
    if (name == nullptr)
        return -1;
    const std::string_view wanted = name;
    for (int32_t i = 0; i < count; ++i) {
        if (table[i].valid != 0 && kiv::field_text(table[i].name) == wanted)
            return i;
    }
    return -1;
}

} // namespace

int kivd_perm_group_conf_entry_populate(kivd_perm_group_conf_entry *entry, int32_t rule_type,
                                        int32_t command_type, const char *feature,
                                        int32_t all_features) noexcept
{
    KIV_ASSERT("kivd_lib", entry);
    entry->rule_type = rule_type;
    entry->command_type = command_type;
    robust_strncpy(entry->feature, feature, sizeof entry->feature);
    entry->all_features = all_features;
    return 0;
}

int kivd_perm_group_conf_entry_copy(kivd_perm_group_conf_entry *dest_entry,
                                    const kivd_perm_group_conf_entry *src_entry) noexcept
{
    KIV_ASSERT("kivd_lib", src_entry);
    KIV_ASSERT("kivd_lib", dest_entry);
    return kivd_perm_group_conf_entry_populate(dest_entry, src_entry->rule_type,
                                               src_entry->command_type, src_entry->feature,
                                               src_entry->all_features);
}

void kivd_perm_group_conf_cli_wrapper_init(kivd_perm_group_conf_cli_wrapper *wrapper) noexcept
{
    KIV_ASSERT("kivd_lib", wrapper);
    wrapper->vsans = KIV_BMP_INIT(KIV_VSAN_BITS);
}

int32_t kivd_perm_group_locate_entry_by_name(const kivd_perm_group *table, int32_t count,
                                             const char *name) noexcept
{
    KIV_ASSERT("kivd_lib", table != nullptr || count <= 0);
    return find_role(table, count, name);
}

int32_t kivd_perm_group_locate_case_sensitive_entry_by_name(const kivd_perm_group *table,
                                                            int32_t count,
                                                            const char *name) noexcept
{
    KIV_ASSERT("kivd_lib", table != nullptr || count <= 0);
    return find_role(table, count, name);
}

int32_t kivd_static_perm_group_locate_entry_by_name(const kivd_static_perm_group *table,
                                                    int32_t count, const char *name) noexcept
{
    KIV_ASSERT("kivd_lib", table != nullptr || count <= 0);
    return find_role(table, count, name);
}

int32_t kivd_perm_group_next_role_num_get(const kivd_perm_group *table, int32_t start,
                                          int32_t count) noexcept
{
    KIV_ASSERT("kivd_lib", table != nullptr || count <= 0);
    for (int32_t i = std::max(start, 0); i < count; ++i) {
        if (table[i].valid == 1)
            return i + 1;
    }
    return -1;
}

int32_t kivd_perm_group_max_rule_id_get(const kivd_perm_group *role) noexcept
{
    KIV_ASSERT("kivd_lib", role);
    for (int32_t place = kiv::places_in_use(*role); place > 0; --place) {
        if (kiv::holds_rule(role->rules[place - 1]))
            return place;
    }
    return 0;
}

int32_t kivd_perm_group_next_rule_id_get(const kivd_perm_group *role, int32_t start) noexcept
{
    KIV_ASSERT("kivd_lib", role);
    for (int32_t place = std::max(start, 0); place < kiv::places_in_use(*role); ++place) {
        if (kiv::holds_rule(role->rules[place]))
            return place + 1;
    }
    return -1;
}
