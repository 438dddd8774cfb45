// What is asked of the daemon about roles.

#include <cstdio>

#include <kiv/kivd_lib.h>
#include <kiv/platform/syserr.h>

#include "kivd_lib/exchange.h"
#include "kivd_lib/requests.h"

namespace {

namespace requests = kiv::requests;

constexpr int transport_failure = 51;

int fetch(kiv::request_kind kind, int32_t mode, uint32_t client, kiv::reply &answer)
{
    kind.mode = mode;
    const int result = kiv::exchange(kind, {client}, nullptr, answer);
    return result == -1 ? transport_failure : result;
}

int fetch_both(uint32_t client, int32_t mode, kiv::reply &roles, kiv::reply &second)
{
    if (const int result = fetch(requests::roles, mode, client, roles); result != 0)
        return result;
    if (roles.length > 0 && roles.length < sizeof(kivd_perm_group)) {
        kiv::refuse(roles);
        return transport_failure;
    }
    return fetch(requests::roles_second_part, mode, client, second);
}

} // namespace

int kivd_perm_group_role_name_verify(uint32_t client, const char *role_name) noexcept
{
    KIV_ASSERT("kivd_lib", role_name);
    // The first predefined role is asked for, like an unknown one.
    if (kivd_static_perm_group_locate_entry_by_name(
            kivd_static_perm_group_table, kivd_static_perm_group_table_size, role_name) > 0)
        return 0;
    kivd_perm_group_conf_cli_wrapper role{};
    kivd_perm_group_conf_cli_wrapper_init(&role);
    robust_strncpy(role.role_name, role_name, sizeof role.role_name);
    const int result = kiv::exchange(requests::role_verification, {client}, &role);
    if (result == 0)
        return 0;
    if (result != KIV_ERROR_ROLE_UNKNOWN)
        std::puts("Error in communicating with process");
    return -1;
}

int kivd_perm_group_table_get(uint32_t client, int32_t mode, kivd_perm_group **roles_out,
                              void **second_out, int32_t *count_out) noexcept
{
    KIV_ASSERT("kivd_lib", roles_out);
    KIV_ASSERT("kivd_lib", second_out);
    KIV_ASSERT("kivd_lib", count_out);
    *roles_out = nullptr;
    *second_out = nullptr;
    *count_out = 0;
    kiv::reply roles;
    kiv::reply second;
    if (const int result = fetch_both(client, mode, roles, second); result != 0)
        return result;
    *count_out = static_cast<int32_t>(roles.length / sizeof(kivd_perm_group));
    roles.hand_out(roles_out);
    second.hand_out(second_out);
    return 0;
}
