#include "line_input.h"

#include <cerrno>

#include <poll.h>
#include <unistd.h>

#include "terminal.h"

namespace kiv_shell {

namespace {

// The terminal has dropped the line by itself, and a prompt shows that.
void await_terminal(const std::string &prompt)
{
    pollfd ready{STDIN_FILENO, POLLIN, 0};
    while (poll(&ready, 1, -1) < 0 && errno == EINTR) {
        if (take_interrupt())
            write_all(STDOUT_FILENO, "\n" + prompt);
    }
}

} // namespace

plain_input::plain_input() : prompts_(isatty(STDIN_FILENO) == 1) {}

line_input::outcome plain_input::next(const std::string &prompt, std::string &line)
{
    if (prompts_) {
        take_interrupt();
        write_all(STDOUT_FILENO, prompt);
        await_terminal(prompt);
    }
    return lines_.next(line);
}

} // namespace kiv_shell
