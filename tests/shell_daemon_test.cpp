// The shell and kivctl beside a daemon: its tree, its lock, its roles.

#include <csignal>
#include <functional>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <kiv/kiv_process_api.h>
#include <kiv/kivd_lib.h>

#include "daemon_process.h"
#include "lab/roles/decision.h"
#include "shell_child.h"
#include "switch_root.h"
#include "terminal.h"

namespace {

using daemon_process::living;
using daemon_process::running;
using shell_child::callback_error;
using shell_child::parse_error;
using shell_child::running_shell;
using shell_child::success;
using switch_root::outcome;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char *running_file = "/ubex/cfg/running.cfg";
constexpr const char *shell = "/usr/sbin/kiv.bin ";

outcome run_shell(const std::string &arguments)
{
    return switch_root::run(shell + arguments);
}

outcome run_kivctl(const std::string &arguments)
{
    return switch_root::run(KIVCTL_PATH " " + arguments);
}

int32_t lock_holder()
{
    return daemon_process::status().lock_pid;
}

using ShellDaemon = daemon_process::test;

TEST_F(ShellDaemon, TakesTheTreeOfTheDaemonWhileThereIsOne)
{
    daemon_process::write_commands("alpha", {"alpha"}, "show_version");
    running_shell open;
    EXPECT_THAT(open.answer_to("alpha"), EndsWith(parse_error));
    const terminal::pseudo_terminal user;
    const std::string at_terminal = "-c 'show version' <" + user.name();
    EXPECT_THAT(run_shell(at_terminal).error, StartsWith("kiv: no daemon: "));
    EXPECT_EQ(run_shell("-c 'show version'").error, "") << "where nobody reads";
    running daemon;
    daemon.serves();
    EXPECT_EQ(run_shell(at_terminal).error, "");
    {
        const living module(
            [] { return kiv_register_parse_tree(0, "alpha") + kivd_generate_main_tree(0); });
        ASSERT_EQ(module.result(), 0);
        EXPECT_THAT(open.answer_to("alpha"), EndsWith(success));
        const outcome known = run_shell("-c alpha");
        EXPECT_EQ(known.status, 0) << known.error;
        EXPECT_THAT(known.output, StartsWith("Shell:"));
    }
    daemon.wait_for("nodes of 2 trees");
    daemon.wait_for("nodes of 1 trees");
    EXPECT_THAT(open.answer_to("alpha"), EndsWith(parse_error));
    EXPECT_THAT(run_shell("-c alpha").error, HasSubstr("unknown word \"alpha\""));
    daemon.end(SIGKILL);
    switch_root::write_file("/ubex/c", "switchname one\n");
    EXPECT_EQ(run_shell("-r /ubex/c").status, 0);
    EXPECT_THAT(switch_root::read_file(running_file), HasSubstr("switchname one"));
}

TEST_F(ShellDaemon, LetsOneShellConfigureAtATime)
{
    running_shell second; // before there is a daemon
    running daemon;
    daemon.serves();
    const struct {
        const char *way;
        std::function<void(running_shell &)> leave;
    } ways[] = {
        {"end", [](running_shell &first) { first.answer_to("end"); }},
        {"exit", [](running_shell &first) { first.answer_to("exit"); }},
        {"the end of its input", [](running_shell &first) { first.end(); }},
        {"kill -9", [](running_shell &first) { first.kill(); }},
    };
    switch_root::write_file("/ubex/c", "switchname file\n");
    for (const auto &row : ways) {
        running_shell first;
        EXPECT_EQ(first.answer_to("configure terminal"), success) << row.way;
        EXPECT_EQ(lock_holder(), first.pid());
        EXPECT_THAT(second.answer_to("configure terminal"),
                    AllOf(HasSubstr("locked by another session"), EndsWith(callback_error)));
        EXPECT_THAT(run_shell("-r /ubex/c").error, HasSubstr("locked by another session"));
        EXPECT_EQ(first.answer_to("switchname first"), success);
        row.leave(first);
        EXPECT_EQ(second.answer_to("configure terminal"), success) << row.way;
        EXPECT_EQ(second.answer_to("end"), success);
        EXPECT_EQ(lock_holder(), 0) << row.way;
    }
    EXPECT_EQ(run_shell("-r /ubex/c").status, 0);
    EXPECT_EQ(lock_holder(), 0);
}

TEST_F(ShellDaemon, ConfiguresNothingWithoutTheLockAfterADaemonWasStarted)
{
    running_shell early;
    EXPECT_EQ(early.answer_to("configure terminal"), success);
    EXPECT_EQ(early.answer_to("switchname early"), success);
    std::optional<running> daemon(std::in_place);
    daemon->serves();
    EXPECT_THAT(early.answer_to("switchname late"),
                AllOf(HasSubstr("a daemon has come"), EndsWith(callback_error)));
    EXPECT_EQ(early.answer_to("end"), success);
    running_shell first;
    EXPECT_EQ(first.answer_to("configure terminal"), success);
    EXPECT_THAT(early.answer_to("configure terminal"), HasSubstr("locked by another session"));
    daemon.reset();
    daemon.emplace();
    daemon->serves();
    running_shell second;
    EXPECT_EQ(second.answer_to("configure terminal"), success);
    EXPECT_THAT(first.answer_to("switchname lost"), HasSubstr("locked by another session"));
    EXPECT_EQ(lock_holder(), second.pid());
}

// The user who has no rights of its own, and a shell of that user's.
constexpr uid_t stranger = 65534;

outcome run_strangers_shell(const std::string &arguments)
{
    const std::string number = std::to_string(stranger);
    return switch_root::run("setpriv --reuid=" + number + " --regid=" + number +
                            " --clear-groups " + shell + arguments);
}

// Whether the shell stores a line that it is given in this way. What it does not, it has to deny.
bool is_configured(const std::string &line, const std::string &way)
{
    switch_root::write_file("/ubex/file", line + "\n");
    switch_root::write_file("/ubex/lines", "configure terminal\n" + line + "\n");
    unlink(running_file);
    const outcome ended = run_strangers_shell(way);
    const std::string said = ended.output + ended.error;
    const bool is_stored = switch_root::read_file(running_file).find(line) != std::string::npos;
    EXPECT_NE(is_stored, said.find("permission denied: ") != std::string::npos) << way << said;
    EXPECT_EQ(lock_holder(), 0) << way;
    return is_stored;
}

TEST_F(ShellDaemon, LetsUsersRunWhatTheirRolesPermit)
{
    if (!daemon_process::is_shell_of_other_user_possible(stranger))
        GTEST_SKIP() << "no other user reaches the files here";
    running daemon;
    daemon.serves();
    ASSERT_EQ(mkdir("/ubex/cfg", 0755) + chmod("/ubex/cfg", 0777), 0);
    for (const char *job :
         {"add namer", "rule namer 1 permit config switchname", "add all-but-banner",
          "rule all-but-banner 1 deny show version", "rule all-but-banner 3 permit show",
          "rule all-but-banner 5 permit config", "rule all-but-banner 7 deny config banner",
          "add deleted", "rule deleted 1 permit config", "remove deleted"})
        ASSERT_EQ(run_kivctl(std::string("roles ") + job).status, 0) << job;
    const struct {
        const char *roles; // null: no line
        bool shows;
        bool names;
        bool sets_banner;
    } rows[] = {
        {nullptr, true, false, false},
        {"network-operator", true, false, false},
        {"network-admin", true, true, true},
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
        EXPECT_EQ(run_strangers_shell("-c 'show version'").status, row.shows ? 0 : 1);
        EXPECT_EQ(is_configured("switchname theirs", "-r /ubex/file"), row.names);
        EXPECT_EQ(is_configured("banner theirs", "-r /ubex/file"), row.sets_banner);
        EXPECT_EQ(run_kivctl("roles explain " + user + " banner x").status,
                  row.sets_banner ? 0 : 1);
    }
    for (const char *way : {"-f /ubex/lines", "--session </ubex/lines", "</ubex/lines"}) {
        EXPECT_TRUE(is_configured("switchname theirs", way)) << "namer";
        EXPECT_FALSE(is_configured("banner theirs", way)) << "namer";
    }
    EXPECT_EQ(run_shell("-r /ubex/file").status, 0) << "root needs no role";
}

// In their order: each finds what those before it have left.
TEST_F(ShellDaemon, TellsEveryJobOfKivctlAsJson)
{
    EXPECT_THAT(run_kivctl("daemon status").error, HasSubstr("the daemon is not there"));
    running daemon;
    daemon.serves();
    daemon_process::write_commands("alpha", {"alpha"}, "show_version");
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
        {"register --json missing " + itself + "merge --json", 1,
         "{\"state\": \"registered\"}\n[{\"left_out\": \"missing: missing.par: No such file or "
         "directory\"}]\n"},
        {"deregister --json alpha", 1, ""},
        {"register --json alpha none " + itself + "trees --missing --json", 0,
         "{\"state\": \"registered\"}\n[{\"missing\": \"alpha\"},\n {\"missing\": \"none\"}]\n"},
        {"register alpha none >/dev/full -- true", 1, ""},
        {"register --merge alpha none -- true", 1, ""},
        {"register --json alpha " + itself + "register before alpha -- true", 1,
         "{\"state\": \"registered\"}\n"},
        {"trees --missing --json", 0, "[]\n"},
        {"lock --json --session 3 " + itself + "lock --session 3", 1, "{\"state\": \"locked\"}\n"},
        {"unlock --json", 0, "{\"state\": \"unlocked\"}\n"},
        {"settings set --json switchname edge-7", 0,
         "{\"setting\": \"switchname\", \"state\": \"changed\"}\n"},
        {"settings --json", 0,
         "{\"switchname\": \"edge-7\", \"session-timeout\": 30, \"session-timeout-2\": 30, "
         "\"max-sessions\": 32}\n"},
        {"roles add --json ops 'of the night'", 0, "{\"role\": \"ops\", \"state\": \"added\"}\n"},
        {"roles rule ops 2 permit show zone", 0,
         "Configured 'rule 2 permit show feature zone' for role ops\n"},
        {"roles vsans ops 5-7 --json", 0, "{\"role\": \"ops\", \"state\": \"changed\"}\n"},
        {"roles show --json ops", 0,
         "[{\"role\": \"ops\", \"description\": \"of the night\", \"rules\": \"rule 2 permit show "
         "feature zone\", \"vsans\": \"5-7\"}]\n"},
        {"roles explain --json root show version", 0,
         "{\"user\": \"root\", \"roles\": \"network-admin\", \"command\": \"show version\", "
         "\"decision\": \"permitted\", \"role\": \"network-admin\", \"rule\": 0, \"why\": "
         "\"administrator\"}\n"},
        {"roles remove --json ops", 0, "{\"role\": \"ops\", \"state\": \"removed\"}\n"},
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
