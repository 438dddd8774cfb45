#include "run.h"

#include <cerrno>

#include <fcntl.h>

#include "files.h"

namespace kiv_shell {

namespace {

std::string prompt(session &shell)
{
    std::string text(shell.chosen().boot ? "kiv(boot)" : "kiv");
    if (shell.modes().size() > 1) {
        const auto &node = shell.tree().node(shell.modes().current());
        text.append("(").append(printable(field_text(node.submode_prompt))).append(")");
    }
    return text.append("# ");
}

unique_fd open_input(const std::string &name)
{
    unique_fd file(open(name.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file)
        complain(system_failure(name, errno));
    return file;
}

int status_of(line_outcome ended)
{
    return ended == line_outcome::done ? status_done : status_failed;
}

} // namespace

int run(session &shell)
{
    const options &chosen = shell.chosen();
    switch (chosen.input) {
    case input_kind::command:
        return status_of(shell.run_line(chosen.operand));
    case input_kind::command_file:
        return run_command_file(shell, chosen.operand);
    case input_kind::configuration_file:
        return run_configuration_file(shell, chosen.operand);
    case input_kind::session:
    case input_kind::standard_input:
        break;
    }
    plain_input lines;
    return run_lines(shell, lines);
}

int run_lines(session &shell, line_input &lines)
{
    int status = status_done;
    std::string line;
    while (!shell.ended()) {
        const auto outcome = lines.next(prompt(shell), line);
        if (outcome == line_reader::outcome::failed) {
            complain(lines.reason());
            return status_failed;
        }
        if (outcome == line_reader::outcome::end)
            break;
        if (shell.run_line(line) != line_outcome::done)
            status = status_failed;
    }
    return status;
}

int run_command_file(session &shell, const std::string &name)
{
    const unique_fd file = open_input(name);
    if (!file)
        return status_failed;
    line_reader lines(file.get(), name);
    std::string line;
    for (size_t number = 1; !shell.ended(); ++number) {
        const auto outcome = lines.next(line);
        if (outcome == line_reader::outcome::failed)
            complain(lines.reason());
        if (outcome != line_reader::outcome::line)
            return outcome == line_reader::outcome::end ? status_done : status_failed;
        const std::string location = printable(name) + ":" + std::to_string(number) + ": ";
        if (shell.run_line(line, location) != line_outcome::done)
            return status_failed;
    }
    return status_done;
}

} // namespace kiv_shell
