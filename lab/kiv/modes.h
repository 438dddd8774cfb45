// The modes that a session is in.
#ifndef LAB_KIV_MODES_H
#define LAB_KIV_MODES_H

#include <string_view>
#include <vector>

#include "configuration.h"
#include "lab/module/request.h"
#include "parser.h"
#include "tree.h"

namespace kiv_shell {

struct mode {
    node_index node;
    setting entered_by{}; // the command that entered the mode
    std::vector<kiv::module::argument> arguments{};
};

// What a command does to the modes, besides entering the one of its node.
enum class mode_change { none, leave, leave_all };

// From the outermost mode to the one that commands are read in. Those that the stack begins with
// are never left.
class mode_stack {
public:
    explicit mode_stack(std::vector<mode> base) : modes_(std::move(base)), base_(modes_.size()) {}

    node_index current() const { return modes_.back().node; }
    node_index at(size_t position) const { return modes_[position].node; }
    size_t size() const { return modes_.size(); }

    // The line in the innermost mode that knows it, down to the last of the base; `depth` is how
    // many modes there are up to that one. Or the error of the mode that knows most of it.
    parse_result find_command(const tree_view &tree, std::string_view line, size_t &depth) const;

    // Keeps the outermost `count` modes, and the base in any case.
    void leave_to(size_t count);

    // What follows a command that has been done. Fails where the modes would get too many.
    failure advance(const tree_view &tree, const command &done, mode_change change);

    // The commands that lead from the mode at `position` to the current one.
    std::vector<setting> path_from(size_t position) const;

    // The arguments of all of them.
    std::vector<kiv::module::argument> arguments() const;

private:
    std::vector<mode> modes_;
    size_t base_;
};

} // namespace kiv_shell

#endif
