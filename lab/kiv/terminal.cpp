#include "terminal.h"

#include <cerrno>

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace kiv_shell {

namespace {

struct noted_signal {
    int number;
    volatile sig_atomic_t seen;
    struct sigaction previous;
};

enum noted_index { interrupted, resized, resumed };

noted_signal noted[] = {
    {SIGINT, 0, {}},
    {SIGWINCH, 0, {}},
    {SIGCONT, 0, {}},
    {SIGQUIT, 0, {}},
};

struct ending_signal {
    int number;
    bool may_be_fault;
    struct sigaction previous;
};

ending_signal ending[] = {
    {SIGHUP, false, {}},  {SIGTERM, false, {}}, {SIGABRT, false, {}},   {SIGALRM, false, {}},
    {SIGUSR1, false, {}}, {SIGUSR2, false, {}}, {SIGVTALRM, false, {}}, {SIGPROF, false, {}},
    {SIGXCPU, false, {}}, {SIGIO, false, {}},   {SIGTRAP, false, {}},   {SIGSYS, false, {}},
    {SIGBUS, true, {}},   {SIGSEGV, true, {}},  {SIGFPE, true, {}},     {SIGILL, true, {}},
};

// A program in front of the shell may take this signal for itself or not know it, and two would
// read from the terminal once one of them stops.
noted_signal stopping{SIGTSTP, 0, {}};

volatile sig_atomic_t in_front = 0; // 0: none
static_assert(sizeof(pid_t) <= sizeof in_front);

termios original;
bool has_original = false;

void note(int number)
{
    for (noted_signal &row : noted) {
        if (row.number == number)
            row.seen = 1;
    }
}

// The settings of a terminal that another process group is using are its own.
void restore_settings()
{
    if (has_original && tcgetpgrp(STDIN_FILENO) == getpgrp())
        tcsetattr(STDIN_FILENO, TCSANOW, &original);
}

// A fault comes again after the return, and meets the previous action; a signal that was sent does
// not.
void end(int number, siginfo_t *info, void *)
{
    if (in_front != 0)
        kill(static_cast<pid_t>(in_front), SIGTERM);
    restore_settings();
    for (const ending_signal &row : ending) {
        if (row.number != number)
            continue;
        sigaction(number, &row.previous, nullptr);
        if (!row.may_be_fault || info->si_code <= 0)
            raise(number);
    }
}

bool take(noted_index which)
{
    const bool seen = noted[which].seen != 0;
    noted[which].seen = 0;
    return seen;
}

template <class Row>
void install(Row &row, const struct sigaction &action)
{
    sigaction(row.number, nullptr, &row.previous);
    // Who started the shell wants it to outlive the signal.
    if (row.previous.sa_handler != SIG_IGN)
        sigaction(row.number, &action, nullptr);
}

} // namespace

window_size find_window_size()
{
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0)
        return {};
    return {size.ws_row, size.ws_col};
}

terminal_guard::terminal_guard()
{
    has_original = tcgetattr(STDIN_FILENO, &original) == 0;
    struct sigaction noting {};
    noting.sa_handler = note;
    noting.sa_flags = SA_RESTART; // no command is broken off by a key
    for (noted_signal &row : noted)
        install(row, noting);
    struct sigaction restoring {};
    restoring.sa_sigaction = end;
    restoring.sa_flags = SA_SIGINFO;
    for (ending_signal &row : ending)
        install(row, restoring);
    struct sigaction ignoring {};
    ignoring.sa_handler = SIG_IGN;
    install(stopping, ignoring);
}

terminal_guard::~terminal_guard()
{
    restore_settings();
    for (const noted_signal &row : noted)
        sigaction(row.number, &row.previous, nullptr);
    for (const ending_signal &row : ending)
        sigaction(row.number, &row.previous, nullptr);
    sigaction(stopping.number, &stopping.previous, nullptr);
}

void end_with_shell(pid_t program)
{
    in_front = program;
}

held_endings::held_endings()
{
    sigset_t held;
    sigemptyset(&held);
    for (const ending_signal &row : ending)
        sigaddset(&held, row.number);
    sigprocmask(SIG_BLOCK, &held, &before_);
}

held_endings::~held_endings()
{
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}

bool take_interrupt()
{
    return take(interrupted);
}

bool take_window_change()
{
    return take(resized);
}

bool take_resumption()
{
    return take(resumed);
}

input_wait::input_wait()
{
    sigset_t held;
    sigemptyset(&held);
    for (const noted_signal &row : noted)
        sigaddset(&held, row.number);
    sigprocmask(SIG_BLOCK, &held, &before_);
}

input_wait::~input_wait()
{
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}

bool input_wait::wait() const
{
    pollfd ready{STDIN_FILENO, POLLIN, 0};
    return ppoll(&ready, 1, nullptr, &before_) >= 0 || errno != EINTR;
}

} // namespace kiv_shell
