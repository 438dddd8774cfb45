#include "line_input.h"

#include <unistd.h>

#include "terminal.h"

namespace kiv_shell {

plain_input::plain_input() : prompts_(isatty(STDIN_FILENO) == 1) {}

// The terminal drops a line by itself when it is interrupted, and a new prompt shows that.
void plain_input::await_line(const std::string &prompt)
{
    const input_wait input;
    take_interrupt();
    write_all(STDOUT_FILENO, prompt);
    while (!input.wait()) {
        if (take_interrupt())
            write_all(STDOUT_FILENO, "\n" + prompt);
    }
}

line_input::outcome plain_input::next(const std::string &prompt, std::string &line)
{
    if (prompts_)
        await_line(prompt);
    return lines_.next(line);
}

} // namespace kiv_shell
