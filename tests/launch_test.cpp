// Children as they really run: what the shell is given, what comes back, and what is left behind.

#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

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

void make_fifo(const char *path)
{
    ASSERT_EQ(mkfifo(path, 0600), 0) << std::strerror(errno);
}

TEST_F(Launch, GivesTheShellItsExactArguments)
{
    const struct {
        int mode;
        int target;
        const char *version;
        const char *recording;
    } cases[] = {
        {2, 1, nullptr, "[kiv][-nRf][a \"b\" $c]"},
        {3, 1, "", "[kiv][-nRr][a \"b\" $c]"},
        {1, 4, nullptr, "[kivboot][-nRc][a \"b\" $c]"},
        {3, 0, "6.2 (1)", "[kivboot][-nRr][a \"b\" $c][-V][6.2 (1)]"},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(talvek_kiv_system_internal("a \"b\" $c", row.mode, row.target, row.version), 0);
        EXPECT_EQ(recording(), row.recording);
    }
    EXPECT_EQ(kiv_system("x"), 0);
    EXPECT_EQ(recording(), "[kiv][-nRc][x]");
    EXPECT_EQ(talvek_kiv_system("x", "1"), 0);
    EXPECT_EQ(recording(), "[kiv][-nRc][x][-V][1]");
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

TEST_F(Launch, DoesNotWaitForGrandchildren)
{
    make_fifo("/ubex/release");
    plan("leave /ubex/release");
    EXPECT_EQ(kiv_system("x"), 0);
    // The grandchild is still there: opening the other end succeeds only while somebody reads.
    const int release = open("/ubex/release", O_WRONLY);
    EXPECT_GE(release, 0);
    close(release);
}

volatile sig_atomic_t alarms = 0;

TEST_F(Launch, WaitsOnWhenSignalsInterruptIt)
{
    make_fifo("/ubex/release");
    plan("wait /ubex/release");
    struct sigaction action = {};
    action.sa_handler = [](int) {
        alarms = alarms + 1;
        if (alarms >= 3) {
            const int release = open("/ubex/release", O_WRONLY | O_NONBLOCK);
            if (release >= 0)
                close(release);
        }
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

TEST_F(Execute, GivesTheShellTheRequestThroughTheInterpreter)
{
    kiv_system_info info = command("show version");
    info.e_value = 1;
    info.o_value = -2;
    std::strcpy(info.out_file, "/ubex/out");
    std::strcpy(info.err_file, "/ubex/err");
    EXPECT_EQ(kiv_system2(&info), 0U);
    EXPECT_EQ(info.type, 1);
    EXPECT_EQ(recording(), "[/usr/sbin/kiv.bin][-c][show version][-e][1][-q][0][-o][-2]");
    EXPECT_EQ(read_file("/ubex/out"), "recorder output\n");
    EXPECT_EQ(read_file("/ubex/err"), "recorder error\n");

    kiv_system_info peer = command("show version");
    std::strcpy(peer.version, "6 2");
    EXPECT_EQ(kiv_talvek_system2(&peer), 0U);
    EXPECT_EQ(recording(),
              "[/usr/sbin/kiv.bin][-V][6 2][-c][show version][-L][-e][0][-q][0][-o][0]");
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

TEST_F(TalvekSystem, ReturnsBeforeABackgroundCommandEnds)
{
    make_fifo("/ubex/in");
    make_fifo("/ubex/result");
    // Held open at both ends, so that the command can open it at any time.
    const int result = open("/ubex/result", O_RDWR);
    background_running_flag = 1;
    EXPECT_EQ(talvek_system("cat /ubex/in > /ubex/result"), 0);
    EXPECT_EQ(talvek_system("exit 3"), 0) << "the status is the interpreter's";
    EXPECT_EQ(talvek_system(std::string(510, ' ').c_str()), -1);
    background_running_flag = 0;
    // The command cannot have ended: it waits for this.
    write_file("/ubex/in", "still running");
    char text[13];
    EXPECT_EQ(read(result, text, sizeof text), static_cast<ssize_t>(sizeof text));
    EXPECT_EQ(std::string(text, sizeof text), "still running");
    close(result);
}

TEST_F(Files, AreGivenToTheShellTheyAreFor)
{
    const struct {
        int (*run)(const char *) noexcept;
        const char *recording;
        const char *said; // of a missing file
    } cases[] = {
        {kiv_execute_cfg_file, "[kiv][-nRr][/ubex/file]", ""},
        {kiv_execute_script_file, "[kiv][-nRf][/ubex/file]", "No such file or directory\n"},
        {kiv_lc_execute_script_file, "[kivboot][-nRf][/ubex/file]", ""},
    };
    for (const auto &row : cases) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(row.run("/ubex/file"), -1);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), row.said);
        EXPECT_EQ(recording(), "");
        write_file("/ubex/file", "");
        plan("exit 0");
        EXPECT_EQ(row.run("/ubex/file"), 0);
        EXPECT_EQ(recording(), row.recording);
        plan("exit 1");
        EXPECT_EQ(row.run("/ubex/file"), -1);
        recording();
        unlink("/ubex/file");
    }
}

TEST_F(Files, OfARequestMustExist)
{
    kiv_system_info info{};
    info.type = 77;
    std::strcpy(info.file_name, "/ubex/file");
    EXPECT_EQ(kiv_execute_script_file2(&info), 0x40540002U);
    EXPECT_EQ(info.type, 77);
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
    plan("exit 2");
    const std::string longest = "/ubex/" + std::string(130, 'c');
    EXPECT_EQ(kiv_generate_running_cfg(longest.c_str()), 2 << 8);
    EXPECT_EQ(recording(), "[kiv][-nRc][show running-config > " + longest + " ]");
    EXPECT_EQ(kiv_generate_running_cfg((longest + 'c').c_str()), -1);
    EXPECT_EQ(kiv_generate_running_cfg(nullptr), -1);
    EXPECT_EQ(recording(), "");

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
