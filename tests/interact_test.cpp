// The session as processes: what is started, what is left, and what happens when one of the two
// does not play its part.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kiv/extras.h>
#include <kiv/kiv_interact_exec.h>

#include "switch_root.h"

namespace {

using namespace std::chrono_literals;
using testing::AnyOf;
using testing::EndsWith;
using testing::HasSubstr;

const std::string script = "/sbin/kivScript.sh";
const std::string success = KIV_INTERACT_SUCCESS_MARKER;
const std::string nothing = "(null)";

std::vector<std::string> open_files()
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
        names.push_back(entry.path().filename());
    return names;
}

class Session : public testing::Test {
protected:
    void SetUp() override
    {
        switch_root::require();
        install(SCRIPTED_CHILD_PATH);
        plan("");
        for (const std::string &descriptor : open_files())
            fcntl(std::stoi(descriptor), F_SETFD, FD_CLOEXEC);
        files_ = open_files().size();
    }

    void TearDown() override
    {
        kiv_interact_reply_end_set(KIV_INTERACT_END_QUIET, 0);
        EXPECT_EQ(open_files().size(), files_) << "descriptors are left";
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
        for (const int *pipe :
             {kiv_agent_to_kiv_pipe, kiv_to_kiv_agent_pipe, kiv_to_kiv_agent_stderr_pipe})
            EXPECT_TRUE(pipe[0] == -1 && pipe[1] == -1);
    }

    static void install(const std::string &program)
    {
        unlink(script.c_str());
        EXPECT_TRUE(program.empty() || symlink(program.c_str(), script.c_str()) == 0);
    }

    static void plan(const std::string &steps) { setenv("CHILD_PLAN", steps.c_str(), 1); }

    // The child that could not become the script must not go on as a second test program.
    static int open(const char *arg0 = "kiv")
    {
        const pid_t self = getpid();
        const int result = kiv_interact_session_init(arg0);
        if (getpid() != self)
            _exit(result == -1 ? 127 : 0);
        return result;
    }

    static std::string exchange(const std::string &command)
    {
        char *text = kiv_interact_exec_single_cmd(command.c_str());
        std::string copy = text == nullptr ? nothing : text;
        kiv_interact_buff_free(text);
        return copy;
    }

    // The size of what was there.
    static ssize_t take_errors()
    {
        int size = 0;
        ioctl(kiv_to_kiv_agent_stderr_pipe[0], FIONREAD, &size);
        std::string taken(static_cast<size_t>(size), '\0');
        return size == 0 ? 0 : read(kiv_to_kiv_agent_stderr_pipe[0], taken.data(), taken.size());
    }

    // The command comes back with a marker, and the session ends well.
    static void expect_session()
    {
        EXPECT_EQ(exchange("first"), "first\n" + success);
        EXPECT_EQ(kiv_interact_session_close(), 0);
    }

    size_t files_ = 0;
};

TEST_F(Session, GivesTheChildThreeStreamsAndBothEndsOfThePipeOfItsErrors)
{
    ASSERT_EQ(open("kiv shell"), 0);
    expect_session();
    EXPECT_THAT(switch_root::read_file("/ubex/child"),
                testing::MatchesRegex("arg kiv shell\n(file pipe:[^\n]*\n){5}"));
}

TEST_F(Session, LeavesTheStreamsThatTheCallerHasClosedAlone)
{
    int copies[3];
    for (const int stream : {0, 1, 2}) {
        copies[stream] = fcntl(stream, F_DUPFD_CLOEXEC, 3);
        close(stream);
    }
    const int opened = open();
    const std::string reply = exchange("first");
    const bool are_closed = fcntl(0, F_GETFD) < 0 && fcntl(1, F_GETFD) < 0 && fcntl(2, F_GETFD) < 0;
    const int closed = kiv_interact_session_close();
    for (const int stream : {0, 1, 2}) {
        dup2(copies[stream], stream);
        close(copies[stream]);
    }
    EXPECT_EQ(opened, 0);
    EXPECT_EQ(reply, "first\n" + success);
    EXPECT_TRUE(are_closed);
    EXPECT_EQ(closed, 0);
}

// By hand, with pipes that stand where the streams are to be.
TEST_F(Session, CreatesTheStreamsFromPipesUnderTheirNumbers)
{
    int to_child[2];
    int from_child[2];
    ASSERT_EQ(pipe(to_child) + pipe(from_child), 0);
    const pid_t child = fork();
    if (child == 0) {
        int errors[2] = {-1, -1};
        dup2(from_child[1], 0);
        dup2(to_child[1], 1);
        dup2(to_child[0], 2);
        int to[2] = {2, 1};
        int from[2] = {from_child[0], 0};
        _exit(pipe(errors) + kiv_interact_session_create(to, from, errors, "kiv"));
    }
    close(to_child[0]);
    close(from_child[1]);
    EXPECT_EQ(write(to_child[1], "a\nEND_KIV\n", 10), 10);
    std::string said(100, '\0');
    said.resize(static_cast<size_t>(read(from_child[0], said.data(), said.size())));
    EXPECT_EQ(said, "a\n" + success);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    close(to_child[1]);
    close(from_child[0]);
}

TEST_F(Session, HasDescriptorsAbove1023)
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_max < 1200)
        GTEST_SKIP() << "too few descriptors";
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    std::vector<int> taken;
    while (taken.empty() || taken.back() < 1100)
        taken.push_back(fcntl(0, F_DUPFD_CLOEXEC, 0));
    EXPECT_EQ(open(), 0);
    EXPECT_GT(kiv_to_kiv_agent_pipe[0], 1023);
    expect_session();
    std::ranges::for_each(taken, close);
}

TEST_F(Session, FailsWithoutDescriptors)
{
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    testing::internal::CaptureStdout();
    rlimit limit = before;
    limit.rlim_cur = 3;
    for (size_t spare = 0; spare < 6; ++limit.rlim_cur) {
        if (fcntl(static_cast<int>(limit.rlim_cur), F_GETFD) >= 0)
            continue;
        setrlimit(RLIMIT_NOFILE, &limit);
        EXPECT_EQ(open(), -1) << "with " << spare << " descriptors";
        ++spare;
    }
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                testing::MatchesRegex("(error: kiv_interact_exec:kiv_interact_session_init:[0-9]+: "
                                      "pipe system call failed\n){6}"));
}

// Whether the start finds out or the first command depends on how soon the child ends; what comes
// of it does not.
TEST_F(Session, EndsWithAScriptThatCannotBeExecutedOrAChildThatIsGone)
{
    const std::pair<const char *, const char *> cases[] = {
        {"", ""},
        {"/etc", ""},
        {SCRIPTED_CHILD_PATH, "raise 9"},
        {SCRIPTED_CHILD_PATH, "close 0\nsay x\nstay"},
    };
    for (const auto &[program, steps] : cases) {
        SCOPED_TRACE(program + std::string(": ") + steps);
        install(program);
        plan(steps);
        testing::internal::CaptureStdout();
        EXPECT_THAT(open(), AnyOf(0, -1));
        const std::string reply = exchange("a");
        EXPECT_EQ(exchange("b"), nothing);
        EXPECT_EQ(kiv_interact_session_close(), -1);
        EXPECT_THAT(testing::internal::GetCapturedStdout(), EndsWith(": write failed\n"));
        EXPECT_THAT(reply, AnyOf("", "x", nothing, HasSubstr("execl failed\n")));
    }
}

// In both modes the same: the end of the replies needs no waiting.
TEST_F(Session, EndsCleanlyWithAShellThatFails)
{
    struct {
        const char *steps;
        const char *reply; // of the first command
        int closed;
    } const cases[] = {
        {"hear\nraise 15", "", -1},
        {"hear\nclose 1\nsilent", "", -1},
        {"hear\nleave\nsay part\nraise 9", "part", -1},
        {"hear\nflood 5000000\nsay KIV_CALLBACK_SUCCESS", "KIV_CALLBACK_SUCCESS", 0},
    };
    for (const auto &one : cases) {
        for (const int32_t end : {KIV_INTERACT_END_QUIET, KIV_INTERACT_END_MARKER}) {
            SCOPED_TRACE(one.steps);
            kiv_interact_reply_end_set(end, 0);
            plan(one.steps);
            testing::internal::CaptureStdout();
            ASSERT_EQ(open(), 0);
            EXPECT_EQ(exchange("show it"), one.reply);
            EXPECT_THAT(exchange("next"), AnyOf(nothing, "", "next\n" + success));
            EXPECT_EQ(kiv_interact_session_close(), one.closed);
            EXPECT_THAT(testing::internal::GetCapturedStdout(),
                        AnyOf("", EndsWith(": write failed\n")));
        }
    }
}

TEST_F(Session, WithADeadlineOutlivesAChildThatIsStopped)
{
    plan("hear\nraise " + std::to_string(SIGSTOP));
    ASSERT_EQ(open(), 0);
    kiv_interact_reply_end_set(KIV_INTERACT_END_MARKER, 200);
    testing::internal::CaptureStdout();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(exchange("a"), nothing);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 200ms);
    EXPECT_EQ(exchange("b"), nothing);
    EXPECT_EQ(kiv_interact_session_close(), -1);
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                testing::ContainsRegex(
                    "deadline expired, session unusable\n.*: session unusable, out of step\n"));
    plan("");
    kiv_interact_reply_end_set(KIV_INTERACT_END_MARKER, 0);
    ASSERT_EQ(open(), 0);
    expect_session();
}

// It has been told to go and has closed its output, or never stops talking.
TEST_F(Session, CloseEndsAChildThatTakesItsTime)
{
    struct {
        const char *steps;
        int32_t end;
        uint32_t deadline;
        int closed;
    } const cases[] = {
        {"hear\nclose 1\nflood 200000", KIV_INTERACT_END_QUIET, 0, 0},
        {"hear\nclose 1\nstay", KIV_INTERACT_END_QUIET, 1000, 0},
        {"hear\nspill", KIV_INTERACT_END_MARKER, 200, -1},
    };
    for (const auto &one : cases) {
        plan(one.steps);
        kiv_interact_reply_end_set(one.end, 0);
        ASSERT_EQ(open(), 0);
        kiv_interact_reply_end_set(one.end, one.deadline);
        EXPECT_EQ(kiv_interact_session_close(), one.closed) << one.steps;
    }
}

// The child does not read on before all of its output has been taken.
TEST_F(Session, TakesWhatComesWhileItSends)
{
    kiv_interact_reply_end_set(KIV_INTERACT_END_MARKER, 0);
    plan("fill 300000\nsay \\n");
    ASSERT_EQ(open(), 0);
    const std::string command(1 << 20, 'c');
    EXPECT_TRUE(exchange(command).ends_with(command + "\n" + success));
    expect_session();
}

TEST_F(Session, LeavesTheChildsErrorsToTheCallerUnlessTheyFillTheirPipe)
{
    std::string steps;
    for (const char *size : {"40000", "5000000", "1000", "1000"})
        steps += std::string("hear\nflood ") + size + "\nsay KIV_CALLBACK_SUCCESS\n";
    plan(steps);
    ASSERT_EQ(open(), 0);
    EXPECT_EQ(exchange("a"), success);
    EXPECT_EQ(take_errors(), 40'000);
    EXPECT_EQ(exchange("b"), success);
    EXPECT_LE(take_errors(), 65'536);
    EXPECT_EQ(exchange("c"), success);
    EXPECT_EQ(take_errors(), 1000) << "after those that were discarded";
    close(std::exchange(kiv_to_kiv_agent_stderr_pipe[1], -1));
    EXPECT_EQ(exchange("d"), success);
    EXPECT_EQ(take_errors(), 1000) << "and where it cannot be seen whether the pipe is full";
    EXPECT_EQ(kiv_interact_session_close(), 0);
}

TEST_F(Session, ClosesNothingThatIsNotItsOwn)
{
    ASSERT_EQ(open(), 0);
    const int reused = kiv_to_kiv_agent_stderr_pipe[0];
    close(reused);
    close(kiv_to_kiv_agent_stderr_pipe[1]);
    const int other = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(dup2(other, reused), reused);
    expect_session();
    EXPECT_GE(fcntl(reused, F_GETFD), 0);
    close(other);
    if (reused != other)
        close(reused);
}

TEST_F(Session, LosesTheOneThatWasOpenBefore)
{
    ASSERT_EQ(open(), 0);
    const int lost[] = {kiv_agent_to_kiv_pipe[1], kiv_to_kiv_agent_pipe[0],
                        kiv_to_kiv_agent_stderr_pipe[0], kiv_to_kiv_agent_stderr_pipe[1]};
    ASSERT_EQ(open(), 0);
    expect_session();
    for (const int descriptor : lost)
        EXPECT_EQ(close(descriptor), 0) << "is still the caller's to close";
    EXPECT_GT(waitpid(-1, nullptr, 0), 0);
}

TEST_F(Session, KeepsTheSignalOfBrokenPipesFromTheCaller)
{
    sigset_t broken_pipe;
    sigemptyset(&broken_pipe);
    sigaddset(&broken_pipe, SIGPIPE);
    for (const bool held_back : {false, true}) {
        plan("hear\nraise 15");
        ASSERT_EQ(open(), 0);
        EXPECT_EQ(exchange("a"), "");
        sigprocmask(held_back ? SIG_BLOCK : SIG_UNBLOCK, &broken_pipe, nullptr);
        if (held_back)
            raise(SIGPIPE);
        testing::internal::CaptureStdout();
        EXPECT_EQ(exchange("b"), nothing);
        EXPECT_EQ(kiv_interact_session_close(), -1);
        testing::internal::GetCapturedStdout();
        sigset_t found;
        sigpending(&found);
        EXPECT_EQ(sigismember(&found, SIGPIPE), held_back) << "the caller's own stays";
        sigprocmask(SIG_BLOCK, nullptr, &found);
        EXPECT_EQ(sigismember(&found, SIGPIPE), held_back);
    }
    int taken = 0;
    sigwait(&broken_pipe, &taken);
}

TEST_F(Session, GoesOnThroughInterruptions)
{
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    kiv_interact_reply_end_set(KIV_INTERACT_END_MARKER, 0);
    ASSERT_EQ(open(), 0);
    const itimerval every_millisecond{{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &every_millisecond, nullptr);
    const std::string command(200'000, 'c');
    const std::string expected = command + "\n" + success;
    for (int i = 0; i < 50; ++i)
        ASSERT_TRUE(exchange(command) == expected);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(read_time_out_check(kiv_to_kiv_agent_pipe[0], 0), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 30ms);
    EXPECT_EQ(kiv_interact_session_close(), 0);
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
}

} // namespace
