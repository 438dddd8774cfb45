// Children as they really run: what the shell is given, what comes back, and what is left behind.

#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <kiv/kiv_exec_lib.h>

#include "switch_root.h"

namespace {

using switch_root::install_shell;
using switch_root::read_file;
using switch_root::write_file;

using Launch = switch_root::recorded;
using Execute = switch_root::recorded;
using TalvekSystem = switch_root::recorded;
using Files = switch_root::recorded;

kiv_system_info command(const std::string &text)
{
    kiv_system_info info{};
    text.copy(info.cmd_str, sizeof info.cmd_str);
    return info;
}

TEST_F(Launch, GivesTheShellItsExactArguments)
{
    EXPECT_EQ(kiv_system_internal("a \"b\" $c", KIV_EXEC_FILE, 4), 0);
    EXPECT_EQ(recording(), "[kivboot][-nRf][a \"b\" $c]");
    EXPECT_EQ(talvek_kiv_system_internal("x", KIV_EXEC_CONFIG, KIV_TARGET_SHELL, "6.2 (1)"), 0);
    EXPECT_EQ(recording(), "[kiv][-nRr][x][-V][6.2 (1)]");
    EXPECT_EQ(talvek_kiv_system("x", ""), 0);
    EXPECT_EQ(recording(), "[kiv][-nRc][x]");
    EXPECT_EQ(kiv_system(nullptr), 1);
    EXPECT_EQ(talvek_kiv_system(nullptr, "1"), 1);
    EXPECT_EQ(talvek_system(nullptr), 1);
    EXPECT_EQ(recording(), "");
}

TEST_F(Launch, ReturnsTheRawStatus)
{
    plan("exit 3");
    EXPECT_EQ(kiv_system("x"), 3 << 8);
    plan("signal 9");
    EXPECT_EQ(talvek_kiv_system("x", nullptr), SIGKILL);
}

TEST_F(Launch, OfAShellThatCannotRunIsStatus127)
{
    write_file("/ubex/text", "no program");
    chmod("/ubex/text", 0644);
    for (const char *shell : {"", "/ubex/text", "/ubex"}) {
        install_shell(shell);
        EXPECT_EQ(kiv_system("x"), 127 << 8) << shell;
    }
}

TEST_F(Launch, WritesBufferedOutputBeforeTheShellWrites)
{
    testing::internal::CaptureStdout();
    std::printf("before ");
    kiv_system("x");
    std::printf("after");
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "before recorder output\nafter");
}

volatile sig_atomic_t alarms = 0;

TEST_F(Launch, WaitsOnWhenSignalsInterruptIt)
{
    ASSERT_EQ(mkfifo("/ubex/release", 0600), 0) << std::strerror(errno);
    plan("wait /ubex/release");
    struct sigaction action = {};
    action.sa_handler = [](int) {
        alarms = alarms + 1;
        if (alarms >= 3)
            close(open("/ubex/release", O_WRONLY | O_NONBLOCK));
    };
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{{0, 10000}, {0, 10000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    EXPECT_EQ(kiv_system("x"), 0);
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_GE(alarms, 3);
}

TEST_F(Launch, LeavesNoChildUnreapedAndTheSignalMaskAlone)
{
    sigset_t blocked;
    EXPECT_EQ(kiv_system("x"), 0);
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&blocked, SIGINT), 0);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(kiv_system("x"), -1) << "a child that the kernel reaps cannot be waited for";
    signal(SIGCHLD, SIG_DFL);
}

// Runs as a user who may have no further process.
int without_processes()
{
    if (geteuid() == 0 && setuid(65534) != 0)
        return 1;
    const rlimit none{0, 0};
    setrlimit(RLIMIT_NPROC, &none);
    kiv_system_info info = command("x");
    if (kiv_system("x") != -1 || talvek_system("x") != -1)
        return 2;
    return kiv_system2(&info) == 0x40540001 && kiv_talvek_system2(&info) == 0 ? 0 : 3;
}

TEST_F(Launch, TellsWhenThereCanBeNoChild)
{
    EXPECT_EXIT(_exit(without_processes()), testing::ExitedWithCode(0), "");
}

TEST_F(Execute, MapsTheRawStatus)
{
    // The blank comment keeps the rest of the line from the command.
    const std::pair<const char *, uint32_t> cases[] = {
        {"exit 0;", 0},        {"exit 1;", 0x40540001},          {"kill -HUP $$;", 0x40540003},
        {"kill -KILL $$;", 0}, {"/nonexistent/kiv", 0x40540001},
    };
    for (const auto &[shell, code] : cases) {
        kiv_system_info info = command("x");
        std::strcpy(info.bin_path, shell);
        EXPECT_EQ(kiv_system2(&info), code) << shell;
        EXPECT_EQ(kiv_talvek_system2(&info), code) << "talvek: " << shell;
    }
}

// A request that prints "run", whose talvek line has exactly so many characters.
kiv_system_info request_of(size_t characters)
{
    kiv_system_info info = command(std::string(255, 'c'));
    info.type = KIV_EXEC_COMMAND;
    std::memset(info.bin_path, ' ', sizeof info.bin_path - 1);
    std::memcpy(info.bin_path, "echo run;exit;", 14);
    std::strcpy(info.out_file, "/ubex/f");
    char line[1024];
    kiv_talvek_system_cmd_str_create(&info, line, sizeof line);
    std::memset(info.out_file + 7, 'f', characters - std::strlen(line));
    return info;
}

TEST_F(Execute, RefusesALineThatDoesNotFitAndRunsNothing)
{
    // The plain form of such a line has one character more.
    const struct {
        uint32_t (*execute)(kiv_system_info *) noexcept;
        size_t longest;
        int32_t background;
    } cases[] = {{kiv_talvek_system_execute, 511, 0},
                 {kiv_talvek_system_execute, 509, 1},
                 {kiv_system_execute, 510, 0}};
    for (const auto &row : cases) {
        kiv_system_info fits = request_of(row.longest);
        kiv_system_info over = request_of(row.longest + 1);
        testing::internal::CaptureStdout();
        background_running_flag = row.background;
        EXPECT_EQ(row.execute(&fits), 0U) << row.longest;
        EXPECT_EQ(row.execute(&over), 0x4054001EU) << row.longest;
        background_running_flag = 0;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "run\n") << row.longest;
    }
}

TEST_F(TalvekSystem, LeavesThreeSignalsBlockedInCallerAndChild)
{
    EXPECT_EQ(talvek_system("kill -0 $$ && exec /usr/sbin/kiv.bin"), 0);
    EXPECT_EQ(recording(), "[/usr/sbin/kiv.bin] blocked INT blocked ALRM blocked TSTP");
    sigset_t blocked;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    for (const int signal : {SIGINT, SIGALRM, SIGTSTP})
        EXPECT_EQ(sigismember(&blocked, signal), 1) << signal;
    for (const int signal : {SIGCHLD, SIGTERM, SIGQUIT})
        EXPECT_EQ(sigismember(&blocked, signal), 0) << signal;
    EXPECT_EQ(talvek_system("exit 5"), 5 << 8);
    EXPECT_EQ(talvek_system("kill -TERM $$"), SIGTERM);
}

TEST_F(Files, AreRunWhereTheyExist)
{
    const std::pair<int (*)(const char *) noexcept, const char *> cases[] = {
        {kiv_execute_cfg_file, ""},
        {kiv_execute_script_file, "No such file or directory\n"},
        {kiv_lc_execute_script_file, ""},
    };
    write_file("/ubex/file", "");
    plan("exit 1");
    for (const auto &[run, said] : cases) {
        EXPECT_EQ(run("/ubex/file"), -1);
        EXPECT_NE(recording(), "");
        testing::internal::CaptureStderr();
        EXPECT_EQ(run("/ubex/none"), -1);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), said);
        EXPECT_EQ(recording(), "");
    }
}

TEST_F(Files, OfARequestMustExist)
{
    kiv_system_info info{};
    std::strcpy(info.file_name, "/ubex/file");
    EXPECT_EQ(kiv_execute_script_file2(&info), 0x40540002U);
    write_file("/ubex/file", "");
    EXPECT_EQ(kiv_execute_script_file2(&info), 0U);
    EXPECT_EQ(recording(), "[/usr/sbin/kiv.bin][-f][/ubex/file][-e][0][-q][0][-o][0]");
    // A name without room for its end, of a file that exists.
    const std::string name = "/ubex/" + std::string(122, 'n');
    write_file(name, "");
    std::memcpy(info.file_name, name.data(), sizeof info.file_name);
    EXPECT_EQ(kiv_execute_script_file2(&info), 0x4054001EU);
    EXPECT_EQ(recording(), "");
}

TEST_F(Files, ReceiveTheRunningConfiguration)
{
    EXPECT_EQ(kiv_generate_running_cfg(nullptr), -1);
    plan("exit 2");
    kiv_running_cfg_info info{};
    info.o_value = 3;
    info.debug = 1;
    std::strcpy(info.out_file, "/ubex/config");
    testing::internal::CaptureStdout();
    EXPECT_EQ(kiv_generate_running_cfg2(&info), 0) << "whatever happens";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "kiv exit status = 512\n");
    EXPECT_EQ(recording(), "[/usr/sbin/kiv.bin][-o][3][-c][show running-config]");
    EXPECT_EQ(read_file("/ubex/config"), "recorder output\nrecorder error\n");

    std::memset(info.out_file, 'f', sizeof info.out_file);
    EXPECT_EQ(kiv_generate_running_cfg2(&info), 0);
    EXPECT_EQ(recording(), "") << "a name without an end";
}

} // namespace
