#include "terminal.h"

#include <csignal>

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace kiv_shell {

namespace {

struct noted_signal {
    int number;
    int flags;
    volatile sig_atomic_t seen;
    struct sigaction previous;
};

enum noted_index { interrupted, resized, resumed };

// A changed window and the return of the terminal are to be seen while a key is waited for; no
// command is to be broken off by a key.
noted_signal noted[] = {
    {SIGINT, SA_RESTART, 0, {}},
    {SIGWINCH, 0, 0, {}},
    {SIGCONT, 0, 0, {}},
    {SIGQUIT, SA_RESTART, 0, {}},
};

struct ending_signal {
    int number;
    bool may_be_fault;
    struct sigaction previous;
};

ending_signal ending[] = {
    {SIGHUP, false, {}}, {SIGTERM, false, {}}, {SIGABRT, false, {}},
    {SIGBUS, true, {}},  {SIGSEGV, true, {}},
};

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
    for (noted_signal &row : noted) {
        struct sigaction action {};
        action.sa_handler = note;
        action.sa_flags = row.flags;
        install(row, action);
    }
    struct sigaction action {};
    action.sa_sigaction = end;
    action.sa_flags = SA_SIGINFO;
    for (ending_signal &row : ending)
        install(row, action);
}

terminal_guard::~terminal_guard()
{
    restore_settings();
    for (const noted_signal &row : noted)
        sigaction(row.number, &row.previous, nullptr);
    for (const ending_signal &row : ending)
        sigaction(row.number, &row.previous, nullptr);
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

} // namespace kiv_shell
