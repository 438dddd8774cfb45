// Roles, rules and changes as they are shown.

#include <cstdio>
#include <string_view>

#include <kiv/kiv_exec_lib.h>
#include <kiv/kiv_lib.h>
#include <kiv/kivd_lib.h>

#include "common/text.h"
#include "kivd_lib/role_fields.h"

namespace {

// The arguments of "%.*s" for a field, which need not end in a NUL.
int length_of(std::string_view text)
{
    return static_cast<int>(text.size());
}

void show_heading(const kivd_perm_group &role)
{
    const std::string_view name = kiv::field_text(role.name);
    kiv_buf_printf("\nRole: %.*s\n", length_of(name), name.data());
    const std::string_view description = kiv::field_text(role.description);
    if (!description.empty())
        kiv_buf_printf("  Description: %.*s\n", length_of(description), description.data());
}

void show_vsans(const bmask4096 *vsan_mask)
{
    if (kiv_is_user_vsan_restricted(vsan_mask) == 0) {
        kiv_buf_printf("  vsan policy: permit (default)\n");
        return;
    }
    kiv_buf_printf("  vsan policy: deny\n  ");
    kiv_print_vsan_mask(vsan_mask);
    kiv_buf_printf("\n");
}

void show_rules(const kivd_perm_group &role)
{
    kiv_buf_printf("  ---------------------------------------------\n"
                   "  Rule    Type    Command-type      Feature\n"
                   "  ---------------------------------------------\n");
    for (int32_t place = 0; place < kiv::places_in_use(role); ++place) {
        if (kiv::holds_rule(role.rules[place]))
            kivd_perm_group_conf_entry_cli_show(&role.rules[place], place + 1);
    }
}

} // namespace

int kivd_perm_group_conf_entry_cli_show(const kivd_perm_group_conf_entry *entry,
                                        int32_t rule_num) noexcept
{
    KIV_ASSERT("kivd_lib", entry);
    const kiv::rule_words words(*entry);
    const std::string_view feature =
        kiv::is_of_all_features(*entry) ? "*" : kiv::field_text(entry->feature);
    kiv_buf_printf("  %3d.%9s%10s%20.*s\n", rule_num, words.rule_type(), words.command_type(),
                   length_of(feature), feature.data());
    return 0;
}

void kivd_perm_group_entry_cli_show(const kivd_perm_group *list_ptr,
                                    const bmask4096 *vsan_mask) noexcept
{
    KIV_ASSERT("kivd_lib", list_ptr);
    show_heading(*list_ptr);
    show_vsans(vsan_mask);
    if (list_ptr->rule_count > 0)
        show_rules(*list_ptr);
}

void kivd_static_perm_group_entry_cli_show(const kivd_static_perm_group *entry) noexcept
{
    KIV_ASSERT("kivd_lib", entry);
    const std::string_view name = kiv::field_text(entry->name);
    const std::string_view description = kiv::field_text(entry->description);
    const std::string_view detail = kiv::field_text(entry->detail);
    std::printf("\nRole: %.*s\n", length_of(name), name.data());
    if (!description.empty())
        std::printf("Description: %.*s\n", length_of(description), description.data());
    if (!detail.empty())
        std::printf("%.*s\n", length_of(detail), detail.data());
}

void kivd_perm_group_conf_entry_show(const kivd_perm_group_conf_entry *entry) noexcept
{
    KIV_ASSERT("kivd_lib", entry);
    const std::string_view feature = kiv::field_text(entry->feature);
    std::printf("Rule type:%dCmd type:%dFeature:%.*sAll_feature:%d \n", entry->rule_type,
                entry->command_type, length_of(feature), feature.data(), entry->all_features);
}

void kivd_perm_group_conf_cli_wrapper_show(const kivd_perm_group_conf_cli_wrapper *wrapper) noexcept
{
    KIV_ASSERT("kivd_lib", wrapper);
    const std::string_view name = kiv::field_text(wrapper->role_name);
    std::printf("No flag:%dRole name:%.*sRule num:%d \n", wrapper->no_flag, length_of(name),
                name.data(), wrapper->rule_num);
}

void kivd_perm_group_entry_show(const kivd_perm_group *list_ptr, ...) noexcept
{
    KIV_ASSERT("kivd_lib", list_ptr);
    const std::string_view name = kiv::field_text(list_ptr->name);
    const std::string_view description = kiv::field_text(list_ptr->description);
    std::printf("\nRole name:%.*s description:%.*s\n", length_of(name), name.data(),
                length_of(description), description.data());
    for (int32_t place = 0; place < kiv::places_in_use(*list_ptr); ++place) {
        std::printf("%d.", place + 1);
        kivd_perm_group_conf_entry_show(&list_ptr->rules[place]);
    }
}
