// The terminal that the shell runs at, and the signals that come from it.
#ifndef LAB_KIV_TERMINAL_H
#define LAB_KIV_TERMINAL_H

#include <csignal>

#include <sys/types.h>

namespace kiv_shell {

struct window_size {
    unsigned rows = 0; // 0: not known
    unsigned columns = 0;
};

// Of the terminal that is standard output.
window_size find_window_size();

// While there is one of these, the keys for interrupting and quitting do not end the shell, and the
// one for stopping does nothing, neither to the shell nor to the programs that it starts. Its
// end, and whatever ends the shell before that, leaves the terminal's settings as they were. One at
// a time.
class terminal_guard {
public:
    terminal_guard();
    ~terminal_guard();
    terminal_guard(const terminal_guard &) = delete;
    terminal_guard &operator=(const terminal_guard &) = delete;
};

// The program that has the terminal for now is ended by what ends the shell while there is a guard.
// 0: there is none.
void end_with_shell(pid_t program);

// While there is one of these, what ends the shell has to wait.
class held_endings {
public:
    held_endings();
    ~held_endings();
    held_endings(const held_endings &) = delete;
    held_endings &operator=(const held_endings &) = delete;

    const sigset_t &before() const { return before_; }

private:
    sigset_t before_{};
};

// Whether this has happened since the last time that somebody asked.
bool take_interrupt();
bool take_window_change();
bool take_resumption();

// While there is one of these, such things happen only within wait(), so that none is missed
// between asking and waiting.
class input_wait {
public:
    input_wait();
    ~input_wait();
    input_wait(const input_wait &) = delete;
    input_wait &operator=(const input_wait &) = delete;

    // False where there may be something to ask for, and nothing to read from standard input yet.
    bool wait() const;

private:
    sigset_t before_{};
};

} // namespace kiv_shell

#endif
