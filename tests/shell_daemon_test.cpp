// The shell and kivctl beside a daemon: its tree, its lock, its roles.

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>

#include <kiv/extras.h>
#include <kiv/kiv_process_api.h>
#include <kiv/kivd_lib.h>

#include "daemon_process.h"
#include "lab/kivd/status.h"
#include "lab/roles/decision.h"
#include "shell_child.h"
#include "support/files.h"
#include "switch_root.h"
#include "terminal.h"
#include "trees.h"

namespace {

using daemon_process::ask;
using daemon_process::living;
using daemon_process::running;
using kiv::support::unique_fd;
using switch_root::outcome;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char *running_file = "/ubex/cfg/running.cfg";
constexpr const char *shell = "/usr/sbin/kiv.bin ";

outcome run_shell(const std::string &arguments, const std::string &input = {})
{
    return switch_root::run(shell + arguments, input);
}

outcome run_kivctl(const std::string &arguments)
{
    return switch_root::run(KIVCTL_PATH " " + arguments);
}

void write_tree(const std::string &name, const std::string &token)
{
    trees::tree nodes = trees::of_nodes(2);
    trees::add_child(nodes, 0, 1);
    token.copy(nodes[1].token, sizeof nodes[1].token - 1);
    std::string("show_version").copy(nodes[1].func_id, sizeof nodes[1].func_id - 1);
    nodes[1].action = KIV_ACTION_TERMINAL;
    switch_root::write_file(
        "/ubex/etc/par/" + name + ".par",
        std::string(reinterpret_cast<const char *>(nodes.data()), nodes.size() * sizeof nodes[0]));
}

int32_t lock_holder()
{
    return daemon_process::status().lock_pid;
}

// Not through the wrapper script, so that its process is the child.
class shell_session : public shell_child::running_shell {
public:
    shell_session() : running_shell({"/usr/sbin/kiv.bin", "--session"}) {}
};

class ShellDaemon : public testing::Test {
protected:
    void SetUp() override
    {
        switch_root::require();
        std::signal(SIGPIPE, SIG_IGN);
        mkdir("/ubex/cfg", 0755);
        unlink(running_file);
    }
};

TEST_F(ShellDaemon, TakesTheTreeOfTheDaemonWhileThereIsOne)
{
    write_tree("alpha", "alpha");
    EXPECT_THAT(run_shell("-c alpha").error, HasSubstr("unknown word \"alpha\""));
    running daemon;
    daemon.serves();
    shell_session open;
    EXPECT_THAT(open.answer_to("alpha"), EndsWith("KIV_PARSE_ERROR"));
    {
        const living module(
            [] { return kiv_register_parse_tree(0, "alpha") + kivd_generate_main_tree(0); });
        ASSERT_EQ(module.result(), 0);
        EXPECT_THAT(open.answer_to("alpha"), EndsWith("KIV_CALLBACK_SUCCESS"));
        const outcome known = run_shell("-c alpha");
        EXPECT_EQ(known.status, 0) << known.error;
        EXPECT_THAT(known.output, StartsWith("Shell:"));
    }
    daemon.wait_for("nodes of 2 trees");
    daemon.wait_for("nodes of 1 trees");
    EXPECT_THAT(open.answer_to("alpha"), EndsWith("KIV_PARSE_ERROR"));
    EXPECT_THAT(open.answer_to("configure terminal"), EndsWith("KIV_CALLBACK_SUCCESS"));
    EXPECT_THAT(run_shell("-c alpha").error, HasSubstr("unknown word \"alpha\""));
    EXPECT_EQ(run_shell("-c 'show version'").status, 0);
    daemon.end(SIGKILL);
    EXPECT_EQ(run_shell("-c 'show version'").status, 0);
    switch_root::write_file("/ubex/c", "switchname one\n");
    EXPECT_EQ(run_shell("-r /ubex/c").status, 0);
    EXPECT_THAT(switch_root::read_file(running_file), HasSubstr("switchname one"));
}

TEST_F(ShellDaemon, IsMissedWhereSomebodyReads)
{
    const terminal::pseudo_terminal user;
    ASSERT_TRUE(user);
    const std::string ask_version = "-c 'show version' <" + user.name();
    EXPECT_THAT(run_shell(ask_version).error, StartsWith("kiv: no daemon: "));
    EXPECT_EQ(run_shell("-c 'show version'").error, "");
    running daemon;
    daemon.serves();
    EXPECT_EQ(run_shell(ask_version).error, "");
}

TEST_F(ShellDaemon, LetsOneShellConfigureAtATime)
{
    running daemon;
    daemon.serves();
    shell_session second;
    const struct {
        const char *way;
        std::function<void(shell_session &)> leave;
    } ways[] = {
        {"end", [](shell_session &first) { first.answer_to("end"); }},
        {"exit", [](shell_session &first) { first.answer_to("exit"); }},
        {"the last line",
         [](shell_session &first) {
             first.answer_to("END_KIV");
             first.end();
         }},
        {"the end of its input", [](shell_session &first) { first.end(); }},
        {"kill -9", [](shell_session &first) { first.kill(); }},
    };
    switch_root::write_file("/ubex/c", "switchname file\n");
    for (const auto &row : ways) {
        shell_session first;
        EXPECT_EQ(first.answer_to("configure terminal"), "KIV_CALLBACK_SUCCESS") << row.way;
        EXPECT_EQ(lock_holder(), first.pid());
        const std::string refused = second.answer_to("configure terminal");
        EXPECT_THAT(refused, HasSubstr("locked by another session")) << row.way;
        EXPECT_THAT(refused, EndsWith("KIV_CALLBACK_ERROR"));
        const outcome file = run_shell("-r /ubex/c");
        EXPECT_EQ(file.status, 1);
        EXPECT_THAT(file.error, HasSubstr("locked by another session"));
        EXPECT_EQ(run_shell("-c 'show version'").status, 0);
        EXPECT_EQ(first.answer_to("switchname first"), "KIV_CALLBACK_SUCCESS");
        row.leave(first);
        EXPECT_EQ(second.answer_to("configure terminal"), "KIV_CALLBACK_SUCCESS") << row.way;
        EXPECT_EQ(second.answer_to("end"), "KIV_CALLBACK_SUCCESS");
        EXPECT_EQ(lock_holder(), 0) << row.way;
    }
    EXPECT_EQ(run_shell("-r /ubex/c").status, 0);
    EXPECT_EQ(lock_holder(), 0);
}

TEST_F(ShellDaemon, ConfiguresNothingWithoutTheLockAfterTheDaemonWasStartedAgain)
{
    std::optional<running> daemon(std::in_place);
    daemon->serves();
    shell_session first;
    EXPECT_EQ(first.answer_to("configure terminal"), "KIV_CALLBACK_SUCCESS");
    daemon.reset();
    EXPECT_THAT(first.answer_to("switchname lost"), HasSubstr("the daemon does not answer"));
    daemon.emplace();
    daemon->serves();
    EXPECT_EQ(first.answer_to("switchname kept"), "KIV_CALLBACK_SUCCESS");
    EXPECT_EQ(lock_holder(), first.pid());
    daemon.reset();
    daemon.emplace();
    daemon->serves();
    shell_session second;
    EXPECT_EQ(second.answer_to("configure terminal"), "KIV_CALLBACK_SUCCESS");
    EXPECT_THAT(first.answer_to("switchname lost"), HasSubstr("locked by another session"));
    EXPECT_THAT(switch_root::read_file(running_file), HasSubstr("switchname kept"));
}

// The user who has no rights of its own, and a shell of that user's.
constexpr uid_t stranger = 65534;

std::string as_stranger(const std::string &command)
{
    const std::string number = std::to_string(stranger);
    return "setpriv --reuid=" + number + " --regid=" + number + " --clear-groups " + command;
}

uint32_t change_role(uint32_t opcode, const std::string &role,
                     const std::function<void(kivd_perm_group_conf_cli_wrapper &)> &edit = {})
{
    kivd_perm_group_conf_cli_wrapper change{};
    kivd_perm_group_conf_cli_wrapper_init(&change);
    role.copy(change.role_name, sizeof change.role_name - 1);
    if (edit)
        edit(change);
    return static_cast<uint32_t>(ask(opcode, &change, sizeof change).status);
}

struct rule {
    int32_t number;
    kivd_rule_type type;
    kivd_command_type command;
    const char *feature; // null: all
};

void add_role(const std::string &name, const std::vector<rule> &rules)
{
    ASSERT_EQ(change_role(KIVD_ROLE_MESSAGE_NAME, name), 0U);
    for (const rule &each : rules) {
        ASSERT_EQ(change_role(KIVD_ROLE_MESSAGE_RULE, name,
                              [&](kivd_perm_group_conf_cli_wrapper &change) {
                                  change.rule_num = each.number;
                                  kivd_perm_group_conf_entry_populate(
                                      &change.rule, each.type, each.command,
                                      each.feature == nullptr ? "" : each.feature,
                                      each.feature == nullptr ? 1 : 0);
                              }),
                  0U);
    }
}

// What the shell does with a line in each of the ways in which it can be given one.
bool all_ways_configure(const std::string &line)
{
    switch_root::write_file("/ubex/file", line + "\n");
    switch_root::write_file("/ubex/lines", "configure terminal\n" + line + "\n");
    const std::string commands[] = {
        "-r /ubex/file",
        "-f /ubex/lines",
        "--session </ubex/lines",
        "</ubex/lines",
    };
    int configured = 0;
    std::string said;
    for (const std::string &command : commands) {
        unlink(running_file);
        const outcome ended = switch_root::run(as_stranger(shell + command));
        const bool is_stored = switch_root::read_file(running_file).find(line) != std::string::npos;
        const bool is_denied =
            (ended.error + ended.output).find("permission denied: ") != std::string::npos;
        EXPECT_NE(is_stored, is_denied) << command << ": " << ended.output << ended.error;
        configured += is_stored ? 1 : 0;
        said += command + ": " + (is_stored ? "configured\n" : "denied\n");
    }
    EXPECT_TRUE(configured == 0 || configured == static_cast<int>(std::size(commands))) << said;
    return configured > 0;
}

TEST_F(ShellDaemon, LetsUsersRunWhatTheirRolesPermit)
{
    if (!daemon_process::is_other_user_possible())
        GTEST_SKIP() << "no other user reaches the files here";
    running daemon;
    daemon.serves();
    ASSERT_EQ(chmod("/ubex/cfg", 0777), 0);
    add_role("namer", {{1, KIVD_RULE_PERMIT, KIVD_COMMAND_CONFIG, "switchname"}});
    add_role("all-but-banner", {{1, KIVD_RULE_DENY, KIVD_COMMAND_SHOW, "version"},
                                {3, KIVD_RULE_PERMIT, KIVD_COMMAND_SHOW, nullptr},
                                {5, KIVD_RULE_PERMIT, KIVD_COMMAND_CONFIG, nullptr},
                                {7, KIVD_RULE_DENY, KIVD_COMMAND_CONFIG, "banner"}});
    add_role("deleted", {{1, KIVD_RULE_PERMIT, KIVD_COMMAND_CONFIG, nullptr}});
    ASSERT_EQ(
        change_role(KIVD_ROLE_MESSAGE_NAME, "deleted", [](auto &change) { change.no_flag = 1; }),
        0U);
    const struct {
        const char *roles; // null: no line
        bool shows;
        bool names;
        bool sets_banner;
    } rows[] = {
        {nullptr, true, false, false},
        {"network-operator", true, false, false},
        {"network-admin", true, true, true},
        {"svc-admin", true, false, false},
        {"namer", false, true, false},
        {"network-operator namer", true, true, false},
        {"all-but-banner", true, true, false},
        {"all-but-banner network-admin", true, true, true},
        {"deleted", false, false, false},
        {"deleted nobody namer # network-admin", false, true, false},
    };
    const std::string user = kiv::roles::user_name(stranger);
    for (const auto &row : rows) {
        SCOPED_TRACE(row.roles == nullptr ? "no line" : row.roles);
        switch_root::write_file(kiv::roles::users_file, row.roles == nullptr
                                                            ? "# nobody\n"
                                                            : user + "\t" + row.roles + "\r\n");
        EXPECT_EQ(switch_root::run(as_stranger(shell + std::string("-c 'show version'"))).status,
                  row.shows ? 0 : 1);
        EXPECT_EQ(all_ways_configure("switchname theirs"), row.names);
        EXPECT_EQ(all_ways_configure("banner theirs"), row.sets_banner);
        const int explained = run_kivctl("roles explain " + user + " banner x").status;
        EXPECT_EQ(explained, row.sets_banner ? 0 : 1);
        EXPECT_EQ(lock_holder(), 0);
    }
    EXPECT_EQ(run_shell("-r /ubex/file").status, 0) << "root needs no role";
}

// In their order: each finds what those before it have left.
TEST_F(ShellDaemon, TellsEveryJobOfKivctlAsJson)
{
    EXPECT_THAT(run_kivctl("daemon status").error, HasSubstr("the daemon is not there"));
    EXPECT_EQ(run_kivctl("daemon status --json").status, 1);
    running daemon;
    daemon.serves();
    write_tree("alpha", "alpha");
    const std::string itself = "-- " KIVCTL_PATH " ";
    const struct {
        std::string arguments;
        int status;
        const char *output;
    } rows[] = {
        {"trees --json", 0, "[]\n"},
        {"register --json --merge --interface fc=0x10 alpha " + itself + "trees --json", 0,
         "{\"state\": \"registered\"}\n[{\"tree\": \"alpha\", \"file\": \"alpha.par\"}]\n"},
        {"register --json --interface fc=0x10 " + itself + "interfaces --json", 0,
         "{\"state\": \"registered\"}\n[{\"type\": \"fc\", \"mask\": \"0x10\", \"library\": \"\", "
         "\"priority\": 0}]\n"},
        {"interfaces --json", 0, "[]\n"},
        {"register --json missing " + itself + "merge --json", 1,
         "{\"state\": \"registered\"}\n[{\"left_out\": \"missing: missing.par: No such file or "
         "directory\"}]\n"},
        {"register main_tree7 -- true", 1, ""},
        {"deregister --json alpha", 1, ""},
        {"merge --json", 0, "[]\n"},
        {"lock --json --session 3 " + itself + "lock --session 3", 1, "{\"state\": \"locked\"}\n"},
        {"unlock --json", 0, "{\"state\": \"unlocked\"}\n"},
        {"settings set --json switchname edge-7", 0,
         "{\"setting\": \"switchname\", \"state\": \"changed\"}\n"},
        {"settings set session-timeout 7", 0, ""},
        {"settings set switchname " + std::string(64, 'x'), 1, ""},
        {"settings set max-sessions many", 2, ""},
        {"settings set nothing 1", 2, ""},
        {"settings --json", 0,
         "{\"switchname\": \"edge-7\", \"session-timeout\": 7, \"session-timeout-2\": 30, "
         "\"max-sessions\": 32}\n"},
        {"roles add --json ops 'of the night'", 0, "{\"role\": \"ops\", \"state\": \"added\"}\n"},
        {"roles add ops", 1, ""},
        {"roles rule ops 2 permit show zone", 0,
         "Configured 'rule 2 permit show feature zone' for role ops\n"},
        {"roles rule ops 17 permit show", 1, ""},
        {"roles vsans ops 5-7 --json", 0, "{\"role\": \"ops\", \"state\": \"changed\"}\n"},
        {"roles show --json ops", 0,
         "[{\"role\": \"ops\", \"description\": \"of the night\", \"rules\": \"rule 2 permit show "
         "feature zone\", \"vsans\": \"5-7\"}]\n"},
        {"roles show --json nobody", 1, ""},
        {"roles explain --json root show version", 0,
         "{\"user\": \"root\", \"roles\": \"network-admin\", \"command\": \"show version\", "
         "\"decision\": \"permitted\", \"role\": \"network-admin\", \"rule\": 0, \"why\": "
         "\"administrator\"}\n"},
        {"roles remove --json ops", 0, "{\"role\": \"ops\", \"state\": \"removed\"}\n"},
        {"roles remove ops", 1, ""},
        {"roles remove network-admin", 1, ""},
    };
    for (const auto &row : rows) {
        const outcome ended = run_kivctl(row.arguments);
        EXPECT_EQ(ended.status, row.status) << row.arguments << "\n" << ended.error;
        EXPECT_EQ(ended.output, row.output) << row.arguments;
        EXPECT_TRUE(ended.error.empty() || row.status != 0) << row.arguments << "\n" << ended.error;
    }
    EXPECT_THAT(run_kivctl("daemon status --json").output, StartsWith("{\"pid\": "));
}

} // namespace
