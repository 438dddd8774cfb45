// The daemon's roles as they are shown.

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <kiv/kivd_lib.h>

#include "commands.h"
#include "daemon_client.h"
#include "listing.h"
#include "report.h"
#include "role_jobs.h"
#include "support/field_text.h"

namespace kivctl {

namespace {

template <size_t Size>
std::string text_of(const char (&field)[Size])
{
    return std::string(kiv::support::field_text(field));
}

constexpr uint32_t roles_opcode = 912;
constexpr uint32_t role_vsans_opcode = 946;
constexpr int most_attempts = 5;

// Each role has its virtual SANs in the same place.
struct role_table {
    std::vector<kivd_perm_group> roles;
    std::vector<bmask4096> vsans;

    int32_t count() const { return static_cast<int32_t>(roles.size()); }
};

// Fetches the whole records that the daemon sends. Returns the result of the request.
template <class Record>
int fetch_records(uint32_t opcode, std::vector<Record> &into)
{
    owned<void> reply;
    uint32_t size = 0;
    if (const int result = send_request(opcode, nullptr, 0, reply, size); result != 0)
        return result;
    if (size > 0 && size < sizeof(Record)) {
        errno = EPROTO;
        return -1;
    }
    const auto *records = static_cast<const Record *>(reply.get());
    into.assign(records, records + size / sizeof(Record));
    return 0;
}

bool are_the_same(std::span<const kivd_perm_group> left, std::span<const kivd_perm_group> right)
{
    return std::ranges::equal(std::as_bytes(left), std::as_bytes(right));
}

// Roles and virtual SANs come in two answers, between which somebody may change the roles: they
// belong together where the roles are the same before and after.
int fetch_once(role_table &into, bool &belong_together)
{
    std::vector<kivd_perm_group> before;
    int result = fetch_records(roles_opcode, before);
    if (result == 0)
        result = fetch_records(role_vsans_opcode, into.vsans);
    if (result == 0)
        result = fetch_records(roles_opcode, into.roles);
    belong_together = result == 0 && are_the_same(before, into.roles);
    return result;
}

bool has_vsans_of_each_role(const role_table &table)
{
    return table.vsans.size() >= table.roles.size() &&
           std::ranges::all_of(
               std::span(table.vsans).first(table.roles.size()),
               [](const bmask4096 &vsans) { return vsans.size == KIV_BMP_SIZE(KIV_VSAN_BITS); });
}

int fetch(role_table &into)
{
    bool belong_together = false;
    for (int attempt = 0; attempt < most_attempts && !belong_together; ++attempt) {
        if (const int result = fetch_once(into, belong_together); result != 0)
            return fail_request("roles", result);
    }
    if (!belong_together)
        return fail("roles", "they keep changing while they are fetched");
    return has_vsans_of_each_role(into)
               ? static_cast<int>(done)
               : fail("roles", "the daemon does not send the virtual SANs of each role");
}

std::string list_of(const bmask4096 &vsans)
{
    std::string text(KIVD_ROLE_TEXT_SIZE, '\0');
    text.resize(static_cast<size_t>(bmask4096_sprintf(text.data(), text.size(), &vsans)));
    return text;
}

int print_roles(const role_table &table, std::string_view wanted)
{
    for (size_t i = 0; i < table.roles.size(); ++i) {
        const kivd_perm_group &role = table.roles[i];
        if (!wanted.empty() && text_of(role.name) != wanted)
            continue;
        kivd_perm_group_entry_cli_show(&role, &table.vsans[i]);
    }
    return print("");
}

int list_roles(const role_table &table, std::string_view wanted)
{
    listing all({"role", "description", "rules", "vsans"});
    for (size_t i = 0; i < table.roles.size(); ++i) {
        const kivd_perm_group &role = table.roles[i];
        if (!wanted.empty() && text_of(role.name) != wanted)
            continue;
        std::string rules;
        for (int32_t n = kivd_perm_group_next_rule_id_get(&role, 0); n > 0;
             n = kivd_perm_group_next_rule_id_get(&role, n)) {
            std::array<char, KIVD_ROLE_TEXT_SIZE> line{};
            kivd_perm_group_conf_entry_cli_str_get(line.data(), &role.rules[n - 1], n);
            rules.append(rules.empty() ? "" : "; ").append(line.data());
        }
        all.add({text_of(role.name), text_of(role.description), rules, list_of(table.vsans[i])});
    }
    return all.print(true);
}

} // namespace

int show_roles(int argc, char **argv)
{
    bool json = false;
    if (const auto status = read_json_option(argc, argv, role_jobs_usage, json))
        return *status;
    if (optind + 1 < argc)
        return refuse_usage(role_jobs_usage);
    const std::string wanted = optind < argc ? argv[optind] : "";
    role_table table;
    if (const int status = fetch(table); status != done)
        return status;
    if (!wanted.empty() &&
        kivd_perm_group_locate_entry_by_name(table.roles.data(), table.count(), wanted.c_str()) < 0)
        return fail(wanted, "no such role");
    return json ? list_roles(table, wanted) : print_roles(table, wanted);
}

} // namespace kivctl
