#include "at_terminal.h"

#include <unistd.h>

#include "line_input.h"
#include "pager.h"
#include "run.h"
#include "terminal.h"

namespace kiv_shell {

namespace {

std::unique_ptr<line_input> open_input([[maybe_unused]] session &shell)
{
#ifdef KIV_EDITS_LINES
    if (isatty(STDOUT_FILENO) == 1) {
        if (auto edited = open_edited_input(shell))
            return edited;
    }
#endif
    return std::make_unique<plain_input>();
}

} // namespace

int run_at_terminal(session &shell)
{
    const terminal_guard guard;
    if (isatty(STDOUT_FILENO) == 1)
        shell.page_with(show_in_pages);
    const auto lines = open_input(shell);
    return run_lines(shell, *lines);
}

} // namespace kiv_shell
