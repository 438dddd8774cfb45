#include "child.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kiv {

namespace {

constexpr int32_t cannot_execute = 127 << 8;

bool no_child(int spawn_error)
{
    return spawn_error == EAGAIN || spawn_error == ENOMEM;
}

int32_t wait_for(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return status;
}

} // namespace

void flush_streams()
{
    std::fflush(stdout);
    std::fflush(stderr);
}

// posix_spawn shares the caller's memory until the program starts, so that a launch costs the
// same whatever the caller holds. It reports a program that cannot be executed as its own error,
// where a fork would have shown a child that exits with 127.
int32_t run_program(const char *path, const char *const *argv)
{
    pid_t child = -1;
    const int error =
        posix_spawn(&child, path, nullptr, nullptr, const_cast<char *const *>(argv), environ);
    if (error != 0)
        return no_child(error) ? -1 : cannot_execute;
    return wait_for(child);
}

int32_t run_line(const char *line)
{
    return std::system(line);
}

pid_t fork_caller()
{
    return fork();
}

void become_program(const char *path, const char *const *argv)
{
    execv(path, const_cast<char *const *>(argv));
}

bool has_ended(pid_t child)
{
    siginfo_t found{};
    const int result = waitid(P_PID, static_cast<id_t>(child), &found, WEXITED | WNOHANG | WNOWAIT);
    return result == 0 ? found.si_pid == child : errno == ECHILD;
}

void reap(pid_t child, bool kill_first)
{
    if (kill_first && !has_ended(child))
        kill(child, SIGKILL);
    wait_for(child);
}

} // namespace kiv
