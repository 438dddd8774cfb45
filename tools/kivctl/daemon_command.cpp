// Questions to the daemon, and the changes of its settings.

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include <kiv/kivd_lib.h>
#include <kiv/platform/syserr.h>

#include "commands.h"
#include "daemon_client.h"
#include "lab/kivd/status.h"
#include "listing.h"
#include "options.h"
#include "report.h"
#include "support/field_text.h"

namespace kivctl {

namespace {

using kiv::support::field_text;

constexpr const char *daemon_usage = "usage: kivctl daemon status [--json]\n"
                                     "\n"
                                     "Shows what the daemon does.\n";

constexpr const char *trees_usage =
    "usage: kivctl trees [--missing] [--json]\n"
    "\n"
    "Lists the command trees that modules have registered, in the order in which they are merged;\n"
    "with --missing, those that ought to be in the published tree and are not.\n";

constexpr const char *merge_usage =
    "usage: kivctl merge [--json]\n"
    "\n"
    "Has the daemon merge the registered trees, and lists those that had to be left out. Exit\n"
    "status 1 where there are any.\n";

constexpr const char *settings_usage =
    "usage: kivctl settings [show] [--json]\n"
    "       kivctl settings set [--json] NAME VALUE\n"
    "\n"
    "The settings that the daemon keeps and tells programs (kiv/kivd_lib.h): switchname,\n"
    "session-timeout, session-timeout-2, max-sessions. The line switchname of the running\n"
    "configuration is another thing; neither changes the other.\n";

int show_status(int argc, char **argv)
{
    bool json = false;
    if (const auto status = read_json_alone(argc, argv, daemon_usage, json))
        return *status;
    owned<void> reply;
    uint32_t size = 0;
    const int result = send_request(kivd::message_status, nullptr, 0, reply, size);
    if (result != 0)
        return fail_request("status", result);
    kivd::daemon_status told;
    if (size != sizeof told)
        return fail("status", "the daemon is of another version");
    std::memcpy(&told, reply.get(), sizeof told);
    std::string file(KIVD_PARFILE_NAME_SIZE, '\0');
    if (kivd_kiv_dynamic_parfile_name_get(no_client, file.data()) != 0)
        file = "none";
    summary all;
    const auto add = [&](const char *name, auto number) {
        all.add(name, static_cast<int64_t>(number));
    };
    add("pid", told.pid);
    add("uptime", told.uptime);
    all.add("tree", file.c_str());
    add("nodes", told.nodes);
    add("trees", told.tree_number);
    add("left_out", told.left_out);
    add("merges", told.merges);
    add("requests", told.requests);
    add("refusals", told.refusals);
    add("bad_messages", told.bad_messages);
    add("notices", told.notices);
    add("lock_pid", told.lock_pid);
    add("lock_session", told.lock_session);
    return all.print(json);
}

// Prints what the daemon answers in lines, and says whether there is any; nothing for people where
// there is not.
int print_answer(const char *job, uint32_t opcode, const char *column, bool json, bool &any)
{
    owned<void> reply;
    uint32_t size = 0;
    const int result = send_request(opcode, nullptr, 0, reply, size);
    if (result != 0 || size == 0)
        return fail_request(job, result);
    listing all({column});
    std::string_view text(static_cast<const char *>(reply.get()), size - 1);
    any = !text.empty();
    while (!text.empty()) {
        const size_t end = text.find('\n');
        all.add({std::string(text.substr(0, end))});
        text.remove_prefix(end + 1);
    }
    return any || json ? all.print(json) : static_cast<int>(done);
}

// The status says whether there are any that were left out.
int report_merge(bool json)
{
    bool any = false;
    const int status = print_answer("merge", kivd::message_merge_report, "left_out", json, any);
    return status == done && any ? static_cast<int>(failed) : status;
}

int list_missing(bool json)
{
    bool any = false;
    return print_answer("trees", kivd::message_missing, "missing", json, any);
}

// Each with the message that changes it. The name of the switch has no number.
struct setting {
    std::string_view name;
    uint32_t opcode;
    int32_t kiv_cfg_info::*number;
};

constexpr std::array setting_table{
    setting{"switchname", 917, nullptr},
    setting{"session-timeout", 935, &kiv_cfg_info::session_timeout},
    setting{"session-timeout-2", 936, &kiv_cfg_info::session_timeout_second_form},
    setting{"max-sessions", 7661, &kiv_cfg_info::max_sessions},
};

int change_setting(const setting &row, const char *text, bool json)
{
    kiv_cfg_info wanted{};
    if (row.number != nullptr && !read_number(text, wanted.*row.number))
        return refuse("kivctl settings set", std::string("not a number: ") + text);
    if (row.number == nullptr && std::strlen(text) >= KIVD_SWITCHNAME_SIZE)
        return fail(row.name, "the name is too long");
    if (row.number == nullptr)
        std::memcpy(wanted.switchname, text, std::strlen(text));
    const int result = kivd_kiv_configuration_set(no_client, &wanted, row.opcode, 0, "", "");
    return result != 0 ? fail_request(row.name, result)
                       : report_change(json, "setting", std::string(row.name), "changed");
}

int set_setting(int argc, char **argv)
{
    bool json = false;
    if (const auto status = read_json_option(argc, argv, settings_usage, json))
        return *status;
    if (argc - optind != 2)
        return refuse_operands(settings_usage, argv[0], operands_of(argc, argv), 2);
    const auto *row =
        std::ranges::find(setting_table, std::string_view(argv[optind]), &setting::name);
    if (row == setting_table.end())
        return refuse(argv[0], std::string("no setting ") + argv[optind]);
    return change_setting(*row, argv[optind + 1], json);
}

int show_settings(int argc, char **argv)
{
    bool json = false;
    if (const auto status = read_json_alone(argc, argv, settings_usage, json))
        return *status;
    kiv_cfg_info *received = nullptr;
    if (kivd_kiv_configuration_get(no_client, &received) != 0)
        return fail_request("settings", -1);
    const owned<kiv_cfg_info> told(received);
    summary all;
    all.add("switchname", std::string(field_text(told->switchname)));
    all.add("session-timeout", int64_t{told->session_timeout});
    all.add("session-timeout-2", int64_t{told->session_timeout_second_form});
    all.add("max-sessions", int64_t{told->max_sessions});
    return all.print(json);
}

} // namespace

int daemon_command(int argc, char **argv)
{
    const std::string_view job = argc > 1 ? argv[1] : "";
    if (job == "--help")
        return show_usage(daemon_usage);
    return job == "status" ? run_word(argc, argv, show_status)
                           : refuse_job(daemon_usage, argc, argv);
}

int trees_command(int argc, char **argv)
{
    constexpr int missing_code = json_code + 1;
    static constexpr std::array options{option{"missing", no_argument, nullptr, missing_code},
                                        json_options[0], help_option, no_more_options};
    bool json = false;
    bool missing = false;
    const auto take = [&](int code) {
        (code == json_code ? json : missing) = true;
        return std::string();
    };
    if (const auto status = read_options(argc, argv, {"", options, trees_usage}, take))
        return *status;
    if (optind != argc)
        return refuse_operands(trees_usage, argv[0], operands_of(argc, argv), 0);
    if (missing)
        return list_missing(json);
    kiv_tree_table *received = nullptr;
    if (const int result = kivd_tree_table_get(no_client, &received); result != 0)
        return fail_request("trees", result);
    const owned<kiv_tree_table> told(received);
    listing all({"tree", "file"});
    for (int32_t i = 0; i <= told->last_index; ++i) {
        const kiv_tree_table_entry &entry = told->entries[i];
        all.add({std::string(field_text(entry.module_id)),
                 std::string(field_text(entry.par_file_name))});
    }
    return all.print(json);
}

int merge_command(int argc, char **argv)
{
    bool json = false;
    if (const auto status = read_json_alone(argc, argv, merge_usage, json))
        return *status;
    const merge_outcome made = send_merge();
    if (made.result != 0)
        return fail_request("merge", made.result);
    if (made.word != 0 && made.word != KIV_ERROR_TREE_UNUSABLE)
        return fail_request("merge", made.word);
    return report_merge(json);
}

int settings_command(int argc, char **argv)
{
    const std::string_view job = argc > 1 ? argv[1] : "";
    if (job == "set")
        return run_word(argc, argv, set_setting);
    return job == "show" ? run_word(argc, argv, show_settings) : show_settings(argc, argv);
}

} // namespace kivctl
