// The daemon's roles, changed one thing at a time.

#include <array>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

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

namespace {

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
    const char *program;
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
        return fail_request(kiv::support::field_text(made.role_name), result);
    if (job.json)
        return done;
    std::array<char, KIVD_ROLE_TEXT_SIZE> line{};
    kivd_perm_group_wrapper_cli_str_get(line.data(), static_cast<int32_t>(opcode), &made);
    return print(line.data() + std::string("\n"));
}

int refuse_words(const role_job &job, size_t most)
{
    return refuse_operands(role_jobs_usage, job.program, job.words, most);
}

int run_change(int argc, char **argv, const char *state, int work(const role_job &))
{
    bool json = false;
    if (const auto status = read_json_option(argc, argv, role_jobs_usage, json))
        return *status;
    const role_job job{argv[0], operands_of(argc, argv), json};
    if (job.words.empty())
        return refuse_words(job, 1);
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
        return refuse_words(job, 2);
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
        return refuse_words(job, 1);
    change made = change_of(job.words[0]);
    made.no_flag = 1;
    return send(job, KIVD_ROLE_MESSAGE_NAME, made);
}

int describe(const role_job &job)
{
    return job.words.size() <= 2 ? set_description(job, job.words.size() == 2 ? job.words[1] : "")
                                 : refuse_words(job, 2);
}

int set_rule(const role_job &job)
{
    if (job.words.size() < 3 || job.words.size() > 5)
        return refuse_words(job, 5);
    change made = change_of(job.words[0]);
    made.kind = KIVD_ROLE_CHANGE_RULE;
    if (!read_number(job.words[1], made.rule_num))
        return refuse(job.program, std::string("not a number: ") + job.words[1]);
    if (made.rule_num < 1 || made.rule_num > KIVD_ROLE_RULES)
        return refuse(job.program,
                      "the number of a rule is 1 to " + std::to_string(KIVD_ROLE_RULES));
    if (std::string_view(job.words[2]) == "none" && job.words.size() == 3) {
        made.no_flag = 1;
        return send(job, KIVD_ROLE_MESSAGE_RULE, made);
    }
    const int32_t rule = number_of(job.words[2], rule_words);
    const int32_t type = job.words.size() > 3 ? number_of(job.words[3], command_words) : 0;
    const char *feature = job.words.size() > 4 ? job.words[4] : "";
    if (rule == 0)
        return refuse_usage(role_jobs_usage, job.program,
                            std::string("neither permit nor deny: ") + job.words[2]);
    if (type == 0)
        return job.words.size() == 3
                   ? refuse_words(job, 5)
                   : refuse_usage(role_jobs_usage, job.program,
                                  std::string("no type of commands: ") + job.words[3]);
    if (!fits(feature, sizeof made.rule.feature))
        return fail(job.words[0], "the name of the feature is too long");
    kivd_perm_group_conf_entry_populate(&made.rule, rule, type, feature,
                                        job.words.size() == 4 ? 1 : 0);
    return send(job, KIVD_ROLE_MESSAGE_RULE, made);
}

int set_vsans(const role_job &job)
{
    if (job.words.size() != 2)
        return refuse_words(job, 2);
    const std::string_view list = job.words[1];
    change made = change_of(job.words[0]);
    made.kind = KIVD_ROLE_CHANGE_VSAN_POLICY;
    made.no_flag = list == "all" ? 1 : 0;
    if (list != "all" && list != "none") {
        made.kind = KIVD_ROLE_CHANGE_VSAN_LIST;
        if (!read_vsans(list, made.vsans))
            return refuse(job.program, std::string("not a list of virtual SANs: ") + job.words[1]);
    }
    return send(job, KIVD_ROLE_MESSAGE_RULE, made);
}

} // namespace

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
