// A configuration file: checked as a whole, then applied.

#include <cerrno>
#include <vector>

#include <fcntl.h>

#include "files.h"
#include "handlers.h"
#include "module_link.h"
#include "run.h"

namespace kiv_shell {

namespace {

class configuration_file {
public:
    configuration_file(session &shell, std::string name)
        : shell_(shell), name_(std::move(name)), modes_(shell.modes())
    {
    }

    // Reports every line that is wrong. Returns whether none is.
    bool check(line_reader &lines)
    {
        std::string line;
        bool right = true;
        for (size_t number = 1;; ++number) {
            const auto outcome = lines.next(line);
            if (outcome == line_reader::outcome::failed)
                complain(lines.reason());
            if (outcome != line_reader::outcome::line)
                return right && outcome == line_reader::outcome::end;
            if (!is_blank_or_comment(line))
                right = check_line(number, line) && right;
        }
    }

    // Where a command fails, nothing of the shell's own settings stays.
    bool apply()
    {
        const failure failed = shell_.in_one_change([this] { return run_all(); });
        if (failed)
            shell_.report(failed_at_, *failed);
        if (failed && done_by_modules_ > 0)
            shell_.report(failed_at_, "applied by modules, of the lines before: " +
                                          std::to_string(done_by_modules_));
        return !failed;
    }

    size_t size() const { return commands_.size(); }

private:
    struct placed_command {
        size_t number; // of the line
        size_t depth;  // how many modes it is within
        command parsed;
    };

    std::string location(size_t number) const
    {
        return printable(name_) + ":" + std::to_string(number) + ": ";
    }

    bool check_line(size_t number, const std::string &line)
    {
        size_t depth = 0;
        parse_result found = modes_.find_command(shell_.tree(), line, depth);
        if (const auto *error = std::get_if<line_error>(&found)) {
            shell_.report(location(number), line, *error);
            return false;
        }
        command &parsed = std::get<command>(found);
        if (const failure failed = place(parsed, depth)) {
            shell_.report(location(number), *failed);
            return false;
        }
        commands_.push_back({number, depth, std::move(parsed)});
        return true;
    }

    failure place(const command &parsed, size_t depth)
    {
        if (parsed.output_file)
            return "no command of a configuration file writes into a file";
        const handler *found = nullptr;
        if (auto failed = shell_.find(parsed, true, found))
            return failed;
        modes_.leave_to(depth);
        return modes_.advance(shell_.tree(), parsed, found->after);
    }

    failure run_all()
    {
        for (const placed_command &next : commands_) {
            shell_.modes().leave_to(next.depth);
            if (auto failed = shell_.execute(next.parsed)) {
                failed_at_ = location(next.number);
                return failed;
            }
            done_by_modules_ += service_of(shell_.tree(), next.parsed.node) != 0 ? 1 : 0;
        }
        return {};
    }

    session &shell_;
    std::string name_;
    mode_stack modes_;
    std::vector<placed_command> commands_;
    std::string failed_at_;
    size_t done_by_modules_ = 0;
};

} // namespace

int run_configuration_file(session &shell, const std::string &name)
{
    if (const failure failed = shell.stay_in_configuration_mode()) {
        shell.report({}, *failed);
        return status_unusable;
    }
    const unique_fd input(open(name.c_str(), O_RDONLY | O_CLOEXEC));
    if (!input) {
        complain(system_failure(name, errno));
        return status_failed;
    }
    line_reader lines(input.get(), name);
    configuration_file file(shell, name);
    if (!file.check(lines))
        return status_failed;
    const bool only_checked = shell.chosen().checks_only();
    if (!only_checked && !file.apply())
        return status_failed;
    const std::string told =
        printable(name) + ": " + std::to_string(file.size()) +
        (only_checked ? " commands checked, none applied" : " commands applied");
    const failure lost = shell.inform(told + "\n");
    if (!lost)
        return status_done;
    shell.report(told + ": ", *lost);
    return status_failed;
}

} // namespace kiv_shell
