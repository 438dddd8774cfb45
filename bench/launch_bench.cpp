// What a launch costs a process that holds much memory.

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <kiv/kiv_exec_lib.h>

#include "processes.h"
#include "rounds.h"

namespace {

constexpr const char *program = "/usr/sbin/kiv.bin";
constexpr std::array<const char *, 4> arguments{"kiv", "-nRc", "x", nullptr};

char *const *argument_vector()
{
    return const_cast<char *const *>(arguments.data());
}

void wait_for(pid_t child)
{
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0)
        std::abort();
}

void launch_with_library()
{
    if (kiv_system_internal("x", KIV_EXEC_COMMAND, KIV_TARGET_SHELL) != 0)
        std::abort();
}

void launch_with_posix_spawn()
{
    pid_t child = -1;
    if (posix_spawn(&child, program, nullptr, nullptr, argument_vector(), environ) != 0)
        std::abort();
    wait_for(child);
}

void launch_with_fork()
{
    const pid_t child = fork();
    if (child == 0) {
        execv(program, argument_vector());
        _exit(127);
    }
    wait_for(child);
}

void launch_with_vfork()
{
    const pid_t child = vfork(); // NOLINT: what is measured
    if (child == 0) {            // NOLINTNEXTLINE: as vfork is meant to be used
        execv(program, argument_vector());
        _exit(127);
    }
    wait_for(child);
}

void launch_with_system()
{
    if (std::system("/usr/sbin/kiv.bin -nRc x") != 0)
        std::abort();
}

void launch(benchmark::State &state)
{
    if (!processes::is_in_switch_root(state))
        return;
    unlink(program);
    if (symlink(TRIVIAL_PROGRAM, program) != 0) {
        state.SkipWithError("cannot install the trivial program");
        return;
    }
    const size_t size = static_cast<size_t>(state.range(0)) << 20;
    const std::unique_ptr<char, decltype(&std::free)> held(static_cast<char *>(std::malloc(size)),
                                                           std::free);
    if (held == nullptr) {
        state.SkipWithError("not enough memory");
        return;
    }
    std::memset(held.get(), 1, size);
    benchmark::DoNotOptimize(held.get());
    rounds::measure(state, {{"library", launch_with_library},
                            {"posix_spawn", launch_with_posix_spawn},
                            {"fork", launch_with_fork},
                            {"vfork", launch_with_vfork},
                            {"system", launch_with_system}});
}

BENCHMARK(launch)
    ->Name("launch/held_MB")
    ->Arg(10)
    ->Arg(1024)
    ->Arg(4096)
    ->Iterations(200)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

} // namespace
