// The daemon's trees and subtypes of parameters, and the lock of the configuration.

#include <algorithm>
#include <cstring>

#include <kiv/kivd_lib.h>

#include "kivd_lib/exchange.h"
#include "kivd_lib/requests.h"

static_assert(sizeof(kivd_param_subtype_entry) == 12);
static_assert(offsetof(kivd_param_subtype_entry, subtype) == 0);
static_assert(offsetof(kivd_param_subtype_entry, pair) == 4);
static_assert(sizeof(kiv::lock_notice) == 8);
static_assert(offsetof(kiv::lock_notice, lock) == 0);
static_assert(offsetof(kiv::lock_notice, session) == 4);

namespace {

namespace requests = kiv::requests;

// Stores the table where the daemon has sent a sound one.
template <typename Table>
int fetch_table(const kiv::request_kind &kind, uint32_t client, int32_t capacity, Table **table_out)
{
    *table_out = nullptr;
    kiv::reply answer;
    const int result = kiv::exchange(kind, {client}, nullptr, answer);
    if (result != 0)
        return result;
    const int32_t last_index = static_cast<const Table *>(answer.block.get())->last_index;
    if (last_index < -1 || last_index >= capacity)
        return kiv::refuse(answer);
    answer.hand_out(table_out);
    return 0;
}

} // namespace

int32_t kivd_generate_main_tree(uint32_t client) noexcept
{
    kiv::reply answer;
    int32_t status = -1;
    if (kiv::exchange(requests::main_tree, {client}, nullptr, answer) >= 0 &&
        answer.block != nullptr)
        std::memcpy(&status, answer.block.get(), sizeof status);
    return status;
}

int kivd_tree_table_get(uint32_t client, kiv_tree_table **table_out) noexcept
{
    KIV_ASSERT("kivd_lib", table_out);
    return fetch_table(requests::tree_table, client, KIV_TREE_TABLE_CAPACITY, table_out);
}

int kivd_param_subtype_register(uint32_t client, uint32_t subtype, const uint32_t *pair) noexcept
{
    KIV_ASSERT("kivd_lib", pair);
    const kivd_param_subtype_entry entry{subtype, {pair[0], pair[1]}};
    return kiv::exchange(requests::subtype_registration, {client}, &entry);
}

int kivd_param_subtype_table_get(uint32_t client, kivd_param_subtype_table **table_out) noexcept
{
    KIV_ASSERT("kivd_lib", table_out);
    return fetch_table(requests::subtype_table, client, KIVD_PARAM_SUBTYPE_TABLE_CAPACITY,
                       table_out);
}

int kivd_kiv_dynamic_parfile_name_get(uint32_t client, char *name_out) noexcept
{
    KIV_ASSERT("kivd_lib", name_out);
    kiv::reply answer;
    if (kiv::exchange(requests::tree_file_name, {client}, nullptr, answer) < 0 ||
        answer.block == nullptr)
        return -1;
    const auto *name = static_cast<const char *>(answer.block.get());
    const size_t room = std::min<size_t>(answer.length, KIVD_PARFILE_NAME_SIZE);
    const size_t length = strnlen(name, room);
    if (length == room)
        return kiv::refuse(answer);
    std::memcpy(name_out, name, length + 1);
    return 0;
}

int kivd_send_lock_unlock_notification(uint32_t client, int32_t lock, int32_t session) noexcept
{
    const kiv::lock_notice notice{lock, session};
    return kiv::exchange_with_active_node(requests::lock, client, &notice);
}

int kivd_cli_lock(uint32_t client, int32_t session) noexcept
{
    return kivd_send_lock_unlock_notification(client, 1, session);
}

int kivd_cli_unlock(uint32_t client, int32_t session) noexcept
{
    return kivd_send_lock_unlock_notification(client, 0, session);
}
