#include "modes.h"

#include <algorithm>

#include "argument_values.h"

namespace kiv_shell {

parse_result mode_stack::find_command(const tree_view &tree, std::string_view line,
                                      size_t &depth) const
{
    line_error furthest{0, {}};
    for (depth = modes_.size(); depth >= base_; --depth) {
        parse_result parsed = parse_command(tree, at(depth - 1), line);
        auto *error = std::get_if<line_error>(&parsed);
        if (error == nullptr)
            return parsed;
        if (furthest.text.empty() || error->position > furthest.position)
            furthest = std::move(*error);
    }
    return furthest;
}

void mode_stack::leave_to(size_t count)
{
    modes_.resize(std::clamp(count, base_, modes_.size()));
}

failure mode_stack::advance(const tree_view &tree, const command &done, mode_change change)
{
    if (change == mode_change::leave)
        leave_to(modes_.size() - 1);
    if (change == mode_change::leave_all)
        leave_to(base_);
    if (!tree.enters_mode(done.node))
        return {};
    if (modes_.size() == most_modes)
        return "too many modes within each other";
    modes_.push_back({done.node, setting_of(tree, done), arguments_of(tree, done)});
    return {};
}

std::vector<setting> mode_stack::path_from(size_t position) const
{
    std::vector<setting> path;
    for (size_t i = position + 1; i < modes_.size(); ++i)
        path.push_back(modes_[i].entered_by);
    return path;
}

std::vector<kiv::module::argument> mode_stack::arguments() const
{
    std::vector<kiv::module::argument> all;
    for (const mode &each : modes_)
        all.insert(all.end(), each.arguments.begin(), each.arguments.end());
    return all;
}

} // namespace kiv_shell
