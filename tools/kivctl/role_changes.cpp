// The daemon's roles: shown, and changed one thing at a time.

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <kiv/kiv_exec_lib.h>
#include <kiv/kivd_lib.h>

#include "commands.h"
#include "daemon_client.h"
#include "listing.h"
#include "options.h"
#include "report.h"
#include "role_jobs.h"
#include "support/field_text.h"
#include "vsan_list.h"

namespace kivctl {

const char *const role_jobs_usage =
    "usage: kivctl roles predefined [--json]\n"
    "       kivctl roles show [--json] [NAME]\n"
    "       kivctl roles add [--json] NAME [DESCRIPTION]\n"
    "       kivctl roles description [--json] NAME [DESCRIPTION]\n"
    "       kivctl roles rule [--json] NAME NUMBER permit|deny\n"
    "                         clear|config|debug|show|exec [FEATURE]\n"
    "       kivctl roles rule [--json] NAME NUMBER none\n"
    "       kivctl roles vsans [--json] NAME LIST|all|none\n"
    "       kivctl roles remove [--json] NAME\n"
    "       kivctl roles explain [--json] USER COMMAND\n"
    "\n"
    "The daemon's roles. Rules 1 to 16 of a role are applied in the order of their numbers: the\n"
    "last one that matches a command decides, and what none matches is denied. A rule without a\n"
    "FEATURE is one of all features. LIST is such as 1-10,20. explain says which role, and which\n"
    "rule of it, permits a command to a user or denies it; exit status 1 where it is denied.\n";

namespace {

template <size_t Size>
std::string text_of(const char (&field)[Size])
{
    return std::string(kiv::support::field_text(field));
}

constexpr std::array<std::string_view, 2> rule_words{"permit", "deny"};
constexpr std::array<std::string_view, 5> command_words{"clear", "config", "debug", "show", "exec"};

// The number of a word, counted from 1; 0 where it is none.
int32_t number_of(std::string_view word, std::span<const std::string_view> words)
{
    for (size_t i = 0; i < words.size(); ++i) {
        if (words[i] == word)
            return static_cast<int32_t>(i + 1);
    }
    return 0;
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

using change = kivd_perm_group_conf_cli_wrapper;

change change_of(const char *role)
{
    change made{};
    kivd_perm_group_conf_cli_wrapper_init(&made);
    robust_strncpy(made.role_name, role, sizeof made.role_name);
    return made;
}

// What a job that changes a role was given: words, the first of which is the role's name.
struct role_job {
    std::span<char *const> words;
    bool json = false;
};

// Has the daemon make the change, and prints its accounting line; in JSON the job's end is told
// instead.
int send(const role_job &job, uint32_t opcode, const change &made)
{
    owned<void> reply;
    uint32_t size = 0;
    const int result = send_request(opcode, &made, sizeof made, reply, size);
    if (result != 0)
        return fail_request(text_of(made.role_name), result);
    if (job.json)
        return done;
    std::array<char, KIVD_ROLE_TEXT_SIZE> line{};
    kivd_perm_group_wrapper_cli_str_get(line.data(), static_cast<int32_t>(opcode), &made);
    return print(line.data() + std::string("\n"));
}

int run_change(int argc, char **argv, const char *state, int work(const role_job &))
{
    bool json = false;
    if (const auto status = read_json_option(argc, argv, role_jobs_usage, json))
        return *status;
    if (optind == argc)
        return refuse_usage(role_jobs_usage);
    const role_job job{{argv + optind, static_cast<size_t>(argc - optind)}, json};
    const int status = work(job);
    return status == done ? report_change(json, "role", job.words.front(), state) : status;
}

// What a name or a description cannot hold would be cut on the way.
bool fits(const char *text, size_t size)
{
    return std::strlen(text) < size;
}

int set_description(const role_job &job, const char *text)
{
    if (!fits(text, KIVD_ROLE_DESCRIPTION_SIZE))
        return fail(job.words[0], "the description is too long");
    change made = change_of(job.words[0]);
    made.no_flag = *text == '\0' ? 1 : 0;
    robust_strncpy(made.description, text, sizeof made.description);
    return send(job, KIVD_ROLE_MESSAGE_DESCRIPTION, made);
}

int add(const role_job &job)
{
    if (job.words.size() > 2)
        return refuse_usage(role_jobs_usage);
    if (!fits(job.words[0], KIVD_ROLE_NAME_SIZE))
        return fail(job.words[0], "the name is too long");
    if (const int status = send(job, KIVD_ROLE_MESSAGE_NAME, change_of(job.words[0]));
        status != done)
        return status;
    return job.words.size() == 2 ? set_description(job, job.words[1]) : static_cast<int>(done);
}

int remove(const role_job &job)
{
    if (job.words.size() != 1)
        return refuse_usage(role_jobs_usage);
    change made = change_of(job.words[0]);
    made.no_flag = 1;
    return send(job, KIVD_ROLE_MESSAGE_NAME, made);
}

int describe(const role_job &job)
{
    return job.words.size() <= 2 ? set_description(job, job.words.size() == 2 ? job.words[1] : "")
                                 : refuse_usage(role_jobs_usage);
}

int set_rule(const role_job &job)
{
    if (job.words.size() < 3 || job.words.size() > 5)
        return refuse_usage(role_jobs_usage);
    change made = change_of(job.words[0]);
    made.kind = KIVD_ROLE_CHANGE_RULE;
    if (!read_number(job.words[1], made.rule_num))
        return refuse("roles rule", std::string("not a number: ") + job.words[1]);
    if (std::string_view(job.words[2]) == "none" && job.words.size() == 3) {
        made.no_flag = 1;
        return send(job, KIVD_ROLE_MESSAGE_RULE, made);
    }
    const int32_t rule = number_of(job.words[2], rule_words);
    const int32_t type = job.words.size() > 3 ? number_of(job.words[3], command_words) : 0;
    const char *feature = job.words.size() > 4 ? job.words[4] : "";
    if (rule == 0 || type == 0)
        return refuse_usage(role_jobs_usage);
    if (!fits(feature, sizeof made.rule.feature))
        return fail(job.words[0], "the name of the feature is too long");
    kivd_perm_group_conf_entry_populate(&made.rule, rule, type, feature,
                                        job.words.size() == 4 ? 1 : 0);
    return send(job, KIVD_ROLE_MESSAGE_RULE, made);
}

int set_vsans(const role_job &job)
{
    if (job.words.size() != 2)
        return refuse_usage(role_jobs_usage);
    const std::string_view list = job.words[1];
    change made = change_of(job.words[0]);
    made.kind = KIVD_ROLE_CHANGE_VSAN_POLICY;
    made.no_flag = list == "all" ? 1 : 0;
    if (list != "all" && list != "none") {
        made.kind = KIVD_ROLE_CHANGE_VSAN_LIST;
        if (!read_vsans(list, made.vsans))
            return refuse("roles vsans",
                          std::string("not a list of virtual SANs: ") + job.words[1]);
    }
    return send(job, KIVD_ROLE_MESSAGE_RULE, made);
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

int add_role(int argc, char **argv)
{
    return run_change(argc, argv, "added", add);
}

int remove_role(int argc, char **argv)
{
    return run_change(argc, argv, "removed", remove);
}

int change_role_description(int argc, char **argv)
{
    return run_change(argc, argv, "changed", describe);
}

int change_role_rule(int argc, char **argv)
{
    return run_change(argc, argv, "changed", set_rule);
}

int change_role_vsans(int argc, char **argv)
{
    return run_change(argc, argv, "changed", set_vsans);
}

} // namespace kivctl
