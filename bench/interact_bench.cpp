// What the session costs beside two bare pipes to the same child, all on one processor.

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <kiv/extras.h>
#include <kiv/kiv_interact_exec.h>

#include "processes.h"
#include "rounds.h"

namespace {

using namespace processes;

constexpr const char *script = "/sbin/kivScript.sh";
constexpr size_t marker_size = sizeof KIV_INTERACT_SUCCESS_MARKER - 1;

// A program at the ends of two pipes, and no more.
class bare_pipes {
public:
    explicit bare_pipes(std::vector<std::string> arguments)
    {
        int to[2];
        int from[2];
        expect(pipe2(to, O_CLOEXEC) == 0 && pipe2(from, O_CLOEXEC) == 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, to[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, from[1], STDOUT_FILENO);
        std::vector<char *> vector;
        vector.reserve(arguments.size() + 1);
        for (std::string &argument : arguments)
            vector.push_back(argument.data());
        vector.push_back(nullptr);
        if (posix_spawnp(&child_, vector[0], &actions, nullptr, vector.data(), environ) != 0)
            child_ = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(to[0]);
        close(from[1]);
        to_ = to[1];
        from_ = from[0];
    }
    bare_pipes(const bare_pipes &) = delete;
    bare_pipes &operator=(const bare_pipes &) = delete;
    ~bare_pipes()
    {
        close(to_);
        close(from_);
        if (child_ > 0)
            waitpid(child_, nullptr, 0);
    }

    void exchange(const std::string &line, size_t expected) const
    {
        expect(try_exchange(line, expected));
    }

    // False where the program is not there or has ended.
    bool try_exchange(const std::string &line, size_t expected) const
    {
        static char piece[KIV_INTERACT_BUFFER_SIZE];
        if (child_ < 0 || write(to_, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
            return false;
        for (size_t size = 0; size < expected;) {
            const ssize_t more = read(from_, piece, sizeof piece);
            if (more <= 0)
                return false;
            size += static_cast<size_t>(more);
        }
        return true;
    }

private:
    pid_t child_ = -1;
    int to_ = -1;
    int from_ = -1;
};

// A session with the answering child on one processor, for as long as this lives.
class session {
public:
    explicit session(int32_t end)
    {
        unlink(script);
        expect(symlink(ANSWERING_CHILD, script) == 0);
        kiv_interact_reply_end_set(end, 0);
        expect(kiv_interact_session_init("child") == 0);
    }
    session(const session &) = delete;
    session &operator=(const session &) = delete;
    ~session() { kiv_interact_session_close(); }

    static void exchange(const char *command, size_t expected)
    {
        char *reply = kiv_interact_exec_single_cmd(command);
        expect(reply != nullptr && reply[expected - 1] == 'S' && reply[expected] == '\0');
        kiv_interact_buff_free(reply);
    }

private:
    one_processor here_;
};

void repeat(int count, const std::function<void()> &run)
{
    for (int i = 0; i < count; ++i)
        run();
}

// Replies of so many bytes.
void by_marker(benchmark::State &state)
{
    if (!is_in_switch_root(state))
        return;
    const session open(KIV_INTERACT_END_MARKER);
    const bare_pipes bare({script});
    const auto size = static_cast<size_t>(state.range(0));
    const std::string command = std::to_string(size - marker_size);
    const std::string line = command + "\n";
    const int count = size > 100'000 ? 1 : 5000;
    rounds::measure(
        state,
        {{"library", [&] { repeat(count, [&] { session::exchange(command.c_str(), size); }); }},
         {"bare pipes", [&] { repeat(count, [&] { bare.exchange(line, size); }); }}});
}

BENCHMARK(by_marker)
    ->Name("session/marker/reply_bytes")
    ->Arg(60)
    ->Arg(50'000'000)
    ->Iterations(50)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void by_quiet(benchmark::State &state)
{
    if (!is_in_switch_root(state))
        return;
    const session open(KIV_INTERACT_END_QUIET);
    const std::string command = std::to_string(40);
    rounds::measure(state,
                    {{"library", [&] { session::exchange(command.c_str(), 40 + marker_size); }},
                     {"quiet", [] { poll(nullptr, 0, 30); }}});
}

BENCHMARK(by_quiet)
    ->Name("session/quiet")
    ->Iterations(50)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// The same exchanges with the tools that people drive shells with.
void beside(benchmark::State &state, const std::string &tool, std::vector<std::string> start)
{
    if (!is_in_switch_root(state))
        return;
    std::signal(SIGPIPE, SIG_IGN);
    const session open(KIV_INTERACT_END_MARKER);
    const std::string command = std::to_string(40);
    start.insert(start.end(), {script, command, KIV_INTERACT_SUCCESS_MARKER});
    const bare_pipes driver(std::move(start));
    const std::string done = "done\n";
    if (!driver.try_exchange("1\n", done.size())) {
        state.SkipWithError((tool + " is not installed").c_str());
        return;
    }
    const int count = 500;
    rounds::measure(
        state, {{tool, [&] { driver.exchange(std::to_string(count) + '\n', done.size()); }},
                {"library", [&] {
                     repeat(count, [&] { session::exchange(command.c_str(), 40 + marker_size); });
                 }}});
}

std::string beside_this_file(const char *name)
{
    return std::filesystem::path(__FILE__).replace_filename(name);
}

void by_expect(benchmark::State &state, const char *terminal)
{
    beside(state, "expect", {"expect", beside_this_file("session.expect"), terminal});
}

void by_pexpect(benchmark::State &state)
{
    beside(state, "pexpect", {"python3", beside_this_file("session_pexpect.py")});
}

BENCHMARK_CAPTURE(by_expect, default, "default")
    ->Name("session/expect/default_terminal")
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK_CAPTURE(by_expect, raw, "raw")
    ->Name("session/expect/raw_terminal")
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK(by_pexpect)
    ->Name("session/pexpect")
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
