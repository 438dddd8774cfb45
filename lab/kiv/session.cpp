#include "session.h"

#include <algorithm>

#include "files.h"
#include "handlers.h"
#include "xml.h"

namespace kiv_shell {

namespace {

// Where the mode of the running configuration stands among the modes.
constexpr size_t configuration_position = 1;

// How much of a line is shown on either side of an error.
constexpr size_t shown_before = 60;
constexpr size_t shown_after = 60;

// The part of the line around the error, and a caret below it. Tabs stay, so that the caret
// stands right; what stands before an error is printable and takes a column for each character.
std::string pointed_out(std::string_view line, size_t position)
{
    size_t at = position > shown_before ? character_start(line, position - shown_before) : 0;
    std::string shown(at > 0 ? "..." : "");
    std::string caret(shown.size(), ' ');
    while (at < std::min(line.size(), position + shown_after)) {
        const bool is_tab = line[at] == '\t';
        const size_t length = character_length(line, at);
        shown += is_tab ? "\t" : printable(line.substr(at, length));
        if (at < position)
            caret += is_tab ? '\t' : ' ';
        at += length;
    }
    if (at < line.size())
        shown += "...";
    return shown + "\n" + caret + "^\n";
}

} // namespace

session::session(const options &chosen, const tree_view &tree, const configuration_store &store,
                 streams where)
    : chosen_(chosen), tree_(tree), store_(store), where_(where),
      configuration_mode_(tree.mode_of_function(configure_function)),
      modes_(std::vector<mode>{{root_node, {}}})
{
}

void session::take_part(daemon_link &daemon, followed_tree &newest, rights *limits)
{
    daemon_ = &daemon;
    newest_ = &newest;
    limits_ = limits;
}

// Modes are nodes of the tree in which they were entered.
void session::refresh_tree()
{
    if (newest_ == nullptr || modes_.size() > 1 || !newest_->refresh())
        return;
    configuration_mode_ = tree_.mode_of_function(configure_function);
    if (limits_ != nullptr)
        limits_->take(tree_);
}

failure session::stay_in_configuration_mode()
{
    if (!configuration_mode_)
        return "the command tree has no configuration mode";
    modes_ = mode_stack(std::vector<mode>{{root_node, {}}, {*configuration_mode_, {}}});
    return {};
}

line_outcome session::run_line(std::string_view line, std::string_view location)
{
    if (is_blank_or_comment(line))
        return line_outcome::done;
    refresh_tree();
    const parse_result parsed = parse_command(tree_, modes_.current(), line);
    if (const auto *error = std::get_if<line_error>(&parsed)) {
        report(location, line, *error);
        return line_outcome::not_understood;
    }
    const failure failed = execute(std::get<command>(parsed));
    if (!failed)
        return line_outcome::done;
    report(location, *failed);
    return line_outcome::failed;
}

failure session::find(const command &parsed, bool configures, const handler *&found) const
{
    const std::string_view function = tree_.function(parsed.node);
    found = find_handler(function);
    if (found == nullptr)
        return "no handler for " + printable(function) + " in this shell";
    if (function.empty() && !tree_.enters_mode(parsed.node))
        return "the command has no function";
    if (limits_ == nullptr)
        return {};
    const kiv::roles::decision allowed = limits_->may_run(parsed, configures);
    return allowed.permitted ? failure() : "permission denied: " + allowed.why;
}

// Whoever enters configuration mode has the lock until the mode is left.
failure session::lock_for(const command &parsed)
{
    const bool enters = configuration_mode_ && parsed.node == *configuration_mode_;
    return daemon_ != nullptr && enters ? daemon_->lock() : failure();
}

failure session::run(const handler &found, const command &parsed, output &out)
{
    if (auto failed = found.run == nullptr ? failure() : found.run({*this, parsed, out}))
        return failed;
    if (found.shows && shows_xml_)
        out.text() = xml_show(canonical_line(parsed), out.text());
    return out.finish();
}

failure session::execute(const command &parsed)
{
    const handler *found = nullptr;
    if (auto failed = find(parsed, modes_.size() > configuration_position, found))
        return failed;
    output out(where_.output);
    if (parsed.output_file) {
        if (auto failed = out.open(*parsed.output_file))
            return failed;
    }
    if (auto failed = lock_for(parsed))
        return failed;
    failure failed = run(*found, parsed, out);
    if (!failed) {
        ended_ = found->after == mode_change::leave && modes_.size() == 1;
        failed = modes_.advance(tree_, parsed, found->after);
    }
    if (daemon_ != nullptr && modes_.size() <= configuration_position)
        daemon_->unlock();
    return failed;
}

failure session::load(configuration &into, std::string_view text) const
{
    auto failed = into.load(text);
    if (failed)
        *failed = store_.file_name() + ": " + *failed;
    return failed;
}

failure session::in_one_change(const std::function<failure()> &work)
{
    if (auto failed = daemon_ == nullptr ? failure() : daemon_->lock())
        return failed;
    return store_.update([&](std::string &text) -> failure {
        configuration running(tree_, configuration_mode_.value_or(root_node));
        if (auto failed = load(running, text))
            return failed;
        open_change_ = &running;
        failure failed = work();
        open_change_ = nullptr;
        text = running.text();
        return failed;
    });
}

failure session::change_configuration(const change &work)
{
    if (!configuration_mode_ || modes_.size() <= configuration_position ||
        modes_.at(configuration_position) != *configuration_mode_)
        return "settings are made in configuration mode";
    if (open_change_ == nullptr) {
        return in_one_change([&] { return change_configuration(work); });
    }
    work(*open_change_, modes_.path_from(configuration_position));
    return {};
}

failure session::read_configuration(std::string &text) const
{
    std::string stored;
    if (auto failed = store_.read(stored))
        return failed;
    configuration running(tree_, configuration_mode_.value_or(root_node));
    if (auto failed = load(running, stored))
        return failed;
    text = running.text_to_apply();
    return {};
}

void session::report(std::string_view location, std::string_view text) const
{
    std::string message(location);
    message.append("% ").append(text).append("\n");
    where_.error.write(message);
}

void session::report(std::string_view location, std::string_view line,
                     const line_error &error) const
{
    std::string message = pointed_out(line, error.position);
    message.append(location).append("% ").append(error.text).append("\n");
    where_.error.write(message);
}

void session::inform(std::string_view text) const
{
    if (chosen_.quiet == 0)
        where_.output.write(text);
}

} // namespace kiv_shell
