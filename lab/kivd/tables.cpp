#include "tables.h"

#include <algorithm>

namespace kivd {

namespace {

constexpr const char *first_switchname = "switch";
constexpr int32_t first_session_timeout = 30;
constexpr int32_t first_session_limit = 32;

bool is_index(int32_t last_index, int32_t capacity)
{
    return last_index >= -1 && last_index < capacity;
}

} // namespace

void reset(tables &all)
{
    all = {};
    all.trees.last_index = -1;
    all.interfaces.last_index = -1;
    all.subtypes.last_index = -1;
    all.expected.last_index = -1;
    for (bmask4096 &vsans : all.role_vsans)
        vsans.size = sizeof vsans.bytes;
    robust_strncpy(all.settings.switchname, first_switchname, KIVD_SWITCHNAME_SIZE);
    all.settings.session_timeout = first_session_timeout;
    all.settings.session_timeout_second_form = first_session_timeout;
    all.settings.max_sessions = first_session_limit;
}

bool are_sound(const tables &all)
{
    return is_index(all.trees.last_index, KIV_TREE_TABLE_CAPACITY) &&
           is_index(all.expected.last_index, KIV_TREE_TABLE_CAPACITY) &&
           is_index(all.interfaces.last_index, KIV_INTERFACE_TABLE_CAPACITY) &&
           is_index(all.subtypes.last_index, KIVD_PARAM_SUBTYPE_TABLE_CAPACITY) &&
           all.role_count >= 0 && all.role_count <= role_capacity &&
           std::ranges::all_of(all.roles,
                               [](const kivd_perm_group &role) {
                                   return role.rule_count >= 0 &&
                                          role.rule_count <= KIVD_ROLE_RULES;
                               }) &&
           std::ranges::all_of(all.role_vsans, [](const bmask4096 &vsans) {
               return vsans.size == sizeof vsans.bytes;
           });
}

} // namespace kivd
