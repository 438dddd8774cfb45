#include "pager.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "files.h"
#include "terminal.h"

namespace kiv_shell {

namespace {

// What the system's interpreter ends with when it cannot run what it is told to.
constexpr int cannot_be_run = 126;
constexpr int not_found = 127;

// No commands from within "less": the shell's own are what the user may run.
// Settings whose names go on could take that back.
constexpr std::string_view secure = "LESSSECURE";
std::string secure_setting = std::string(secure) + "=1";

// "less" keeps what was searched for in a file at the user's home, unless it is told where.
constexpr const char *history = "LESSHISTFILE";
std::string no_history = std::string(history) + "=-";

using words = std::vector<std::string>;

std::vector<words> pagers()
{
    std::vector<words> all;
    const char *chosen = std::getenv("PAGER");
    if (chosen != nullptr && *chosen != '\0')
        all.push_back({"/bin/sh", "-c", chosen});
    all.push_back({"less", "-FRX"});
    return all;
}

// Whether the text leaves no room for the prompt below it. A character takes a column, a tab or one
// that is shown in another way may take more.
bool is_long(std::string_view text, const window_size &screen)
{
    if (screen.rows == 0 || screen.columns == 0)
        return false;
    size_t rows = 0;
    size_t column = 0;
    for (size_t at = 0; at < text.size() && rows < screen.rows; at += character_length(text, at)) {
        if (text[at] == '\n' || column == screen.columns) {
            ++rows;
            column = 0;
        }
        column += text[at] == '\n' ? 0 : 1;
    }
    return rows >= screen.rows;
}

class settings {
public:
    settings(int input, const sigset_t &mask)
    {
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
        posix_spawnattr_init(&attributes);
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        sigaddset(&defaults, SIGXFSZ);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setsigmask(&attributes, &mask);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    ~settings()
    {
        posix_spawn_file_actions_destroy(&files);
        posix_spawnattr_destroy(&attributes);
    }
    settings(const settings &) = delete;
    settings &operator=(const settings &) = delete;

    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;
};

std::vector<char *> environment()
{
    std::vector<char *> all;
    for (char **entry = environ; *entry != nullptr; ++entry) {
        if (!std::string_view(*entry).starts_with(secure))
            all.push_back(*entry);
    }
    all.push_back(secure_setting.data());
    if (std::getenv(history) == nullptr)
        all.push_back(no_history.data());
    all.push_back(nullptr);
    return all;
}

// 0 where the program cannot be started. From its first moment on, it ends with the shell.
pid_t start(words &program, int input)
{
    const held_endings held;
    const settings chosen(input, held.before());
    std::vector<char *> arguments;
    for (std::string &word : program)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t child = 0;
    const int error = posix_spawnp(&child, arguments[0], &chosen.files, &chosen.attributes,
                                   arguments.data(), environment().data());
    if (error != 0)
        return 0;
    end_with_shell(child);
    return child;
}

int wait_for(pid_t child)
{
    siginfo_t ended;
    while (waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT) < 0 &&
           errno == EINTR) {
    }
    end_with_shell(0); // while the number is still the child's
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return 0;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 0;
}

// Whether there was such a pager. One that stops reading has shown what its user wanted to see.
bool show_in(words &program, std::string_view text)
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        return false;
    unique_fd reading(ends[0]);
    unique_fd writing(ends[1]);
    const pid_t child = start(program, reading.get());
    if (child == 0)
        return false;
    reading = {};
    write_all(writing.get(), text);
    writing = {};
    const int status = wait_for(child);
    return status != cannot_be_run && status != not_found;
}

} // namespace

failure show_in_pages(std::string_view text)
{
    if (is_long(text, find_window_size())) {
        for (words &program : pagers()) {
            if (show_in(program, text))
                return {};
        }
    }
    const int error = write_all(STDOUT_FILENO, text);
    return error == 0 ? failure() : system_failure("standard output", error);
}

} // namespace kiv_shell
