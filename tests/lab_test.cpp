// Shell, daemon and modules as one switch, and what happens to the user when a part of it fails.

#include <csignal>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <kiv/kiv_exec_lib.h>
#include <kiv/kiv_process_api.h>
#include <kiv/kivd_lib.h>
#include <kiv/module.h>

#include "daemon_process.h"
#include "grammar/compile.h"
#include "lab/roles/decision.h"
#include "module_process.h"
#include "shell_child.h"
#include "switch_root.h"

namespace {

using shell_child::callback_error;
using shell_child::parse_error;
using shell_child::running_shell;
using shell_child::success;
using switch_root::outcome;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

const std::string no_communication = "Communication could not be established with the process\n";
const std::string no_answer_to_query =
    "Process did not respond within the expected timeframe, please try again.\n";
const std::string no_answer_to_change =
    "Process did not respond within the expected timeframe\n"
    "Please check if the command was successful using appropriate show commands\n";

// -- A module whose functions misbehave

constexpr uint32_t odd_service = 701;
constexpr const char *odd_grammar = R"(
module odd
message-type 701
keyword odd "Commands of a module that misbehaves"
  keyword arguments "Print the arguments"
    argument int 1..9
      or string 8
      run show_arguments
      argument interface 0x8
        run show_arguments
  keyword die "End in the middle of the command"
    run die
  keyword fail "Print something and fail"
    run fail
  keyword much "Print much"
    run show_much
  keyword missing "A function that the module does not have"
    run missing
keyword configure
  module kiv
  roles network-admin
  keyword terminal
    module kiv
    keyword odd
      generator odd_running_config
      priority 5
      argument int 1..9
        run set_odd
        submode "config-odd"
        keyword set
          argument line
            run set_odd
)";

int print(const std::string &text, int result = 0)
{
    kiv_buf_printf("%s", text.c_str());
    return result;
}

int show_arguments(pinfo *info)
{
    kiv_buf_printf("%d of %d:", info->submode_context, info->parameter_count);
    for (int i = 0; i < info->parameter_count; ++i) {
        const param_arg &argument = *info->args[i];
        if (argument.type == TYPE_INT)
            kiv_buf_printf(" %d", *static_cast<const int32_t *>(argument.value));
        else if (argument.type == TYPE_INTERFACE)
            kiv_buf_printf(" %x/%llx", static_cast<const kiv_interface *>(argument.value)->ifindex,
                           static_cast<unsigned long long>(argument.mask));
        else
            kiv_buf_printf(" \"%s\"", static_cast<const char *>(argument.value));
    }
    return print("\n");
}

std::string much()
{
    std::string text;
    for (int i = 0; i < 30'000; ++i)
        text += "line " + std::to_string(i) + "\n";
    return text;
}

int serve_odd()
{
    static constexpr kiv_module_command commands[] = {
        {"show_arguments", show_arguments, 0, nullptr},
        {"set_odd", show_arguments, KIV_MODULE_CHANGES, "odd"},
        {"die", [](pinfo *) -> int { _exit(1); }, 0, nullptr},
        {"fail", [](pinfo *) { return print("first line\nit cannot be done\n", -1); }, 0, nullptr},
        {"show_much", [](pinfo *) { return print(much()); }, 0, nullptr},
        {"odd_running_config",
         [](pinfo *info) {
             return print(info->ascii_gen != 0 ? "odd 1\n  set generated\n" : "not generated\n");
         },
         0, nullptr},
        {nullptr, nullptr, 0, nullptr},
    };
    kiv_intf_help_info help;
    kiv_intf_help_info_reset(&help, "eth<port>");
    kiv_intf_help_info_add(&help, "port", 1, 4);
    const intf_reg_info type{"eth", 3, 1, "", "", "", &help, 0};
    const kiv_module_description odd{"odd", odd_service, commands, 0x8, &type};
    return kiv_module_run(&odd);
}

class Lab : public daemon_process::test {
protected:
    void SetUp() override
    {
        test::SetUp();
        switch_root::run("mkdir -p /ubex/cfg; : >/ubex/cfg/running.cfg");
        const kiv::grammar::result odd = kiv::grammar::compile(odd_grammar);
        ASSERT_TRUE(odd.errors.empty()) << odd.errors.front().text;
        daemon_process::write_tree("odd", odd.nodes);
        daemon.emplace();
        daemon->serves();
        start_module();
    }

    void start_module()
    {
        module.emplace(odd_service, serve_odd);
        daemon->wait_for(" of 2 trees");
    }

    static outcome run_shell(const std::string &arguments)
    {
        return switch_root::run("/usr/sbin/kiv.bin -W 1 " + arguments);
    }

    static outcome run_line(const std::string &line) { return run_shell("-c '" + line + "'"); }

    std::optional<daemon_process::running> daemon;
    std::optional<module_process::running> module;
};

TEST_F(Lab, AModuleGetsTheArgumentsOfTheLineAndOfItsModes)
{
    running_shell shell;
    EXPECT_EQ(shell.answer_to("odd arguments seven eth4"),
              "0 of 2: \"seven\" 30010000/8\n" + success);
    EXPECT_THAT(
        shell.answer_to("odd arguments 7 eth5"),
        AllOf(HasSubstr("out of bounds; expected: <interface eth(1..4)>"), EndsWith(parse_error)));
    EXPECT_EQ(shell.answer_to("configure terminal"), success);
    EXPECT_EQ(shell.answer_to("odd 3"), "0 of 1: 3\n" + success);
    EXPECT_EQ(shell.answer_to("set a \"b\"  c"), "1 of 2: 3 \"a \"b\"  c\"\n" + success);
    EXPECT_EQ(shell.answer_to("do odd arg x"), "0 of 1: \"x\"\n" + success);
    EXPECT_THAT(shell.answer_to("do configure terminal"),
                AllOf(HasSubstr("cannot be run with \"do\""), EndsWith(callback_error)));
    EXPECT_THAT(shell.answer_to("do odd arg"),
                AllOf(HasSubstr("do odd arg\n          ^\n% incomplete"), EndsWith(parse_error)));
    EXPECT_EQ(shell.answer_to("set still here"), "1 of 2: 3 \"still here\"\n" + success);
}

TEST_F(Lab, WhatAModulePrintsComesWholeOrFromACommandThatFailsNowhere)
{
    EXPECT_EQ(run_line("odd much").output, much());
    EXPECT_EQ(run_line("odd much > /ubex/file").status, 0);
    EXPECT_EQ(switch_root::read_file("/ubex/file"), much());
    running_shell shell;
    shell.answer_to("xml-show on");
    EXPECT_EQ(shell.answer_to("odd arguments 7"),
              "<show command=\"odd arguments 7\">\n<line>0 of 1: 7</line>\n</show>\n" + success);

    const outcome failed = run_line("odd fail > /ubex/file");
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.error, "first line\nit cannot be done\n");
    EXPECT_EQ(switch_root::read_file("/ubex/file"), much());
    EXPECT_EQ(run_line("odd fail > /ubex/made").status, 1);
    EXPECT_NE(access("/ubex/made", F_OK), 0) << "a file of a command that failed";
    const outcome missing = run_line("odd missing");
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.error, HasSubstr("has no function missing"));
}

TEST_F(Lab, AModuleThatDiesInACommandIsACommunicationFailure)
{
    running_shell shell;
    EXPECT_EQ(shell.answer_to("odd die"), no_communication + callback_error);
    daemon->wait_for(" of 1 trees");
    EXPECT_THAT(shell.answer_to("odd arguments 7"), EndsWith(parse_error)) << "no such command now";
    const std::string missing = "! MISSING: module odd: " + no_communication;
    EXPECT_THAT(shell.answer_to("show running-config"),
                AllOf(HasSubstr(missing), EndsWith(callback_error)));
    running_shell configuring;
    configuring.answer_to("configure terminal");
    start_module();
    for (const char *line : {"show running-config", "do show running-config"})
        EXPECT_THAT((line[0] == 'd' ? configuring : shell).answer_to(line),
                    AllOf(HasSubstr("odd 1\n  set generated\n"), EndsWith(success)))
            << "in a mode, of the tree that there is now";
    EXPECT_EQ(shell.answer_to("odd arguments 7"), "0 of 1: 7\n" + success);
    // The module has copies of the pipes that they read from.
    shell.kill();
    configuring.kill();
}

TEST_F(Lab, AModuleThatDoesNotAnswerIsATimeOut)
{
    if (!daemon_process::is_stopping_possible())
        GTEST_SKIP() << "a traced process is not stopped at once";
    switch_root::write_file("/ubex/cfg/running.cfg", "switchname a\nsnmp contact x\n");
    running_shell query({"/usr/sbin/kiv.bin", "-W", "1", "--session"});
    running_shell change({"/usr/sbin/kiv.bin", "-W", "1", "--session"});
    EXPECT_EQ(change.answer_to("configure terminal"), success);
    // All of them wait at the same time.
    EXPECT_EQ(module->signal(SIGSTOP), 0);
    EXPECT_TRUE(query.send("odd arguments 7\n"));
    EXPECT_TRUE(change.send("odd 1\n"));
    const outcome partial = run_shell("-o 1 -c 'show running-config'");
    EXPECT_EQ(partial.status, 1);
    const std::string missing =
        "! MISSING: odd_running_config of module odd: " + no_answer_to_query;
    EXPECT_EQ(partial.output, "switchname a\n" + missing + "snmp contact x\n");
    EXPECT_EQ(partial.error, "% the running configuration is incomplete:\n" + missing);
    EXPECT_EQ(query.answer(), no_answer_to_query + callback_error);
    EXPECT_EQ(change.answer(), no_answer_to_change + callback_error);
    EXPECT_EQ(module->signal(SIGCONT), 0);
    EXPECT_EQ(query.answer_to("odd arguments 8"), "0 of 1: 8\n" + success)
        << "an answer that came too late was taken for this one's";
}

TEST_F(Lab, TheRunningConfigurationIsThatOfAllByPriority)
{
    switch_root::write_file("/ubex/cfg/running.cfg",
                            "switchname a\nodd 3\n  set before there was a module\n"
                            "snmp contact x\nvsan 9\n");
    const outcome all = run_shell("-o 1 -c 'show running-config'");
    EXPECT_EQ(all.status, 0) << all.error;
    EXPECT_EQ(all.output, "switchname a\nodd 1\n  set generated\nsnmp contact x\nvsan 9\n");
    switch_root::write_file("/ubex/again", all.output);
    EXPECT_EQ(run_shell("-e 0x8000 -r /ubex/again").status, 1) << "vsan 9 has no module";
    running_shell shell;
    shell.answer_to("configure terminal");
    EXPECT_EQ(shell.answer_to("no snmp contact"), success);
    EXPECT_EQ(switch_root::read_file("/ubex/cfg/running.cfg"),
              "odd 3\n  set before there was a module\nswitchname a\nvsan 9\n");
}

TEST_F(Lab, NothingThatAModuleKeepsIsKeptByTheShellInItsPlace)
{
    daemon.reset();
    switch_root::run("rm /ubex/etc/par/main_tree?*.par");
    constexpr rlim_t no_whole_tree = 10'000;
    daemon.emplace(std::vector<std::string>{}, RLIMIT_FSIZE, no_whole_tree);
    daemon->wait_for("process ");
    switch_root::write_file("/ubex/c", "switchname own\nvsan 9\n");
    EXPECT_THAT(run_shell("-r /ubex/c").error, HasSubstr("/ubex/c:2: % unknown word"));
    const outcome partial = run_line("show running-config");
    EXPECT_EQ(partial.status, 1);
    EXPECT_THAT(partial.output, HasSubstr("! MISSING: module odd: "));
}

TEST_F(Lab, APartThatTwoTreesNameIsPrintedOnce)
{
    const kiv::grammar::result other = kiv::grammar::compile(R"(
module other
message-type 701
keyword other "Names a part of another module"
  generator odd_running_config
  priority 45
  run show_arguments
)");
    ASSERT_TRUE(other.errors.empty()) << other.errors.front().text;
    daemon_process::write_tree("other", other.nodes);
    const daemon_process::living registered(
        [] { return kiv_register_parse_tree(0, "other") + kivd_generate_main_tree(0); });
    daemon->wait_for(" of 3 trees");
    EXPECT_EQ(run_shell("-o 1 -c 'show running-config'").output, "odd 1\n  set generated\n");
}

TEST_F(Lab, AConfigurationFileIsCheckedWholeBeforeAModuleSeesItsFirstLine)
{
    switch_root::write_file("/ubex/c", "switchname new\nodd 1\n  set a\nodd 10\n  ste b\n");
    const outcome wrong = run_shell("-r /ubex/c");
    EXPECT_EQ(wrong.status, 1);
    EXPECT_THAT(wrong.error, AllOf(HasSubstr("/ubex/c:4: %"), HasSubstr("/ubex/c:5: %")));
    EXPECT_EQ(wrong.output, "");
    EXPECT_EQ(switch_root::read_file("/ubex/cfg/running.cfg"), "");
    switch_root::write_file("/ubex/c", "switchname new\nodd 1\n  set a\n");
    EXPECT_THAT(run_shell("-r /ubex/c").output, HasSubstr("0 of 1: 1\n1 of 2: 1 \"a\"\n"));
    EXPECT_EQ(switch_root::read_file("/ubex/cfg/running.cfg"), "switchname new\n");
}

TEST_F(Lab, AnAdministratorWhoMayNotChangeTheShellsOwnFileConfiguresModules)
{
    constexpr uid_t administrator = 65534;
    if (!daemon_process::is_shell_of_other_user_possible(administrator))
        GTEST_SKIP() << "no other user reaches the files here";
    switch_root::write_file(kiv::roles::users_file,
                            kiv::roles::user_name(administrator) + " network-admin\n");
    const auto apply = [](const std::string &text) {
        switch_root::write_file("/ubex/c", text);
        const std::string number = std::to_string(administrator);
        return switch_root::run("setpriv --reuid=" + number + " --regid=" + number +
                                " --clear-groups /usr/sbin/kiv.bin -r /ubex/c");
    };
    EXPECT_EQ(apply("odd 1\n  set a\n").status, 0);
    const outcome refused = apply("odd 1\nswitchname theirs\n");
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.error,
                AllOf(HasSubstr("/ubex/c:2: % /ubex/cfg/"), HasSubstr("Permission denied\n"),
                      HasSubstr("applied by modules, of the lines before: 1\n")));
    EXPECT_EQ(switch_root::read_file("/ubex/cfg/running.cfg"), "");
}

TEST_F(Lab, ShellAndModuleGoOnWithTheNextDaemon)
{
    running_shell shell;
    EXPECT_EQ(shell.answer_to("configure terminal"), success);
    EXPECT_EQ(shell.answer_to("odd 1"), "0 of 1: 1\n" + success);
    daemon.reset();
    switch_root::write_file("/ubex/file", "old");
    const outcome partial = run_line("show running-config");
    EXPECT_EQ(partial.status, 1);
    EXPECT_THAT(partial.output, EndsWith("! MISSING: all modules: the daemon is not there\n"));
    EXPECT_EQ(run_line("show running-config > /ubex/file").status, 1);
    EXPECT_EQ(switch_root::read_file("/ubex/file"), "old");
    EXPECT_THAT(shell.answer_to("do show running-config"),
                AllOf(HasSubstr("! MISSING: some or all modules: the daemon is not there\n"),
                      EndsWith(callback_error)));
    switch_root::run("rm /run/kiv/*"); // as after a boot
    EXPECT_EQ(run_line("show running-config > /ubex/file").status, 1);
    EXPECT_THAT(shell.answer_to("set no daemon"), EndsWith(callback_error));
    EXPECT_EQ(shell.answer_to("do odd arguments 7"), "0 of 1: 7\n" + success);
    switch_root::run("rm /ubex/etc/kivd/state*");
    daemon.emplace();
    daemon->wait_for(" of 2 trees");
    EXPECT_EQ(shell.answer_to("set again"), "1 of 2: 1 \"again\"\n" + success)
        << "the lock has to be had again";
    EXPECT_GT(daemon_process::status().lock_pid, 0);
}

} // namespace
