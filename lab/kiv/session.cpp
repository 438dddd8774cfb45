#include "session.h"

#include <algorithm>
#include <cerrno>

#include "configuration_parts.h"
#include "files.h"
#include "handlers.h"
#include "lost_parts.h"
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

session::session(const options &chosen, const tree_view &tree, configuration_store &store,
                 streams where)
    : chosen_(chosen), tree_(tree), where_(where),
      configuration_mode_(tree.mode_of_function(configure_function)),
      modes_(std::vector<mode>{{root_node}}), kept_(tree, store, configuration_mode_),
      modules_(chosen.wait_seconds)
{
}

void session::take_part(daemon_link &daemon, followed_tree &newest)
{
    daemon_ = &daemon;
    newest_ = &newest;
    limits_ = daemon.user_rights(tree_);
}

// Modes are nodes of the tree in which they were entered.
void session::refresh_tree()
{
    if (newest_ == nullptr || modes_.size() > 1)
        return;
    const bool has_daemon = daemon_->begins_to_answer();
    if (!newest_->refresh(has_daemon) && !has_daemon)
        return;
    configuration_mode_ = tree_.mode_of_function(configure_function);
    kept_.take_mode(configuration_mode_);
    limits_ = daemon_->user_rights(tree_);
}

failure session::stay_in_configuration_mode()
{
    if (!configuration_mode_)
        return "the command tree has no configuration mode";
    modes_ = mode_stack(std::vector<mode>{{root_node}, {*configuration_mode_}});
    return {};
}

bool session::is_configuring() const
{
    return modes_.size() > configuration_position;
}

line_outcome session::conclude(std::string_view location, const failure &failed) const
{
    if (!failed)
        return line_outcome::done;
    report(location, *failed);
    return line_outcome::failed;
}

line_outcome session::run_line(std::string_view line, std::string_view location)
{
    if (is_blank_or_comment(line))
        return line_outcome::done;
    refresh_tree();
    word_reader words(line);
    const bool outside = skip_do(tree_, modes_.current(), words);
    const size_t start = outside ? words.position() : 0;
    const parse_result parsed =
        parse_command(tree_, outside ? root_node : modes_.current(), line.substr(start));
    if (const auto *error = std::get_if<line_error>(&parsed)) {
        report(location, line, {start + error->position, error->text});
        return line_outcome::not_understood;
    }
    const auto &found = std::get<command>(parsed);
    return conclude(location, outside ? execute_outside(found) : execute(found));
}

failure session::execute_outside(const command &parsed)
{
    const handler *found = nullptr;
    output out(where_.output);
    if (auto failed = prepare(parsed, false, found, out))
        return failed;
    if (tree_.enters_mode(parsed.node) || found->after != mode_change::none)
        return refused_behind_do;
    return run(*found, parsed, false, out);
}

failure session::find(const command &parsed, bool configures, const handler *&found) const
{
    const std::string_view function = tree_.function(parsed.node);
    found = find_handler(tree_, parsed.node);
    if (found == nullptr)
        return "no handler for " + printable(function) + " in this shell";
    if (function.empty() && !tree_.enters_mode(parsed.node))
        return "the command has no function";
    if (!limits_)
        return {};
    const kiv::roles::decision allowed = limits_->may_run(parsed, configures);
    return allowed.permitted ? failure() : "permission denied: " + allowed.why;
}

bool session::enters_configuration(const command &parsed) const
{
    return configuration_mode_ && parsed.node == *configuration_mode_;
}

failure session::give_up_lock()
{
    if (is_configuring())
        return {};
    if (daemon_ != nullptr)
        daemon_->unlock();
    return kept_.settle();
}

failure session::prepare(const command &parsed, bool configures, const handler *&found, output &out)
{
    if (auto failed = find(parsed, configures, found))
        return failed;
    return parsed.output_file ? out.open(*parsed.output_file) : failure();
}

failure session::run(const handler &found, const command &parsed, bool configures, output &out)
{
    failure failed = found.run == nullptr ? failure() : found.run({*this, parsed, out, configures});
    if (failed && (parsed.output_file || !out.is_shown_in_any_case()))
        return failed;
    const failure unfinished = finish(parsed, out);
    return failed ? failed : unfinished;
}

failure session::finish(const command &parsed, output &out)
{
    const bool shows = is_show_function(tree_.function(parsed.node));
    if (shows && shows_xml_)
        out.text() = xml_show(canonical_line(parsed), out.text());
    if (shows && pager_ && !parsed.output_file)
        return pager_(out.text());
    return out.finish();
}

failure session::execute(const command &parsed)
{
    const handler *found = nullptr;
    output out(where_.output);
    // Whoever enters configuration mode does so with the rights of that moment, and has the lock
    // until the mode is left.
    const bool enters = daemon_ != nullptr && enters_configuration(parsed);
    if (enters)
        limits_ = daemon_->user_rights(tree_);
    if (auto failed = prepare(parsed, is_configuring(), found, out))
        return failed;
    if (auto failed = enters ? daemon_->lock() : failure())
        return failed;
    failure failed = run(*found, parsed, is_configuring(), out);
    if (!failed) {
        ended_ = found->after == mode_change::leave && modes_.size() == 1;
        failed = modes_.advance(tree_, parsed, found->after);
    }
    const failure unsettled = give_up_lock();
    return failed ? failed : unsettled;
}

// A module refuses a change to whoever has lost the lock, as all have where the daemon was started
// again; then nothing has been done, and it may be had once more.
failure session::run_in_module(const command &parsed, bool configures, std::string &output)
{
    const auto within = [&] {
        return configures ? modes_.arguments() : std::vector<kiv::module::argument>();
    };
    failure failed = modules_.run(tree_, parsed, within(), configures, output);
    if (!failed || !modules_.needs_lock() || !configures || daemon_ == nullptr)
        return failed;
    if (auto refused = daemon_->lock())
        return refused;
    output.clear();
    return modules_.run(tree_, parsed, within(), configures, output);
}

failure session::in_one_change(const std::function<failure()> &work)
{
    if (auto failed = daemon_ == nullptr ? failure() : daemon_->lock())
        return failed;
    return kept_.in_one_change(work);
}

failure session::change_configuration(const change &work)
{
    if (!configuration_mode_ || !is_configuring() ||
        modes_.at(configuration_position) != *configuration_mode_)
        return "settings are made in configuration mode";
    // In a change of many settings, the lock was made sure of at its beginning.
    const bool is_sure = daemon_ == nullptr || kept_.is_changing();
    if (auto failed = is_sure ? failure() : daemon_->lock())
        return failed;
    return kept_.update([&](configuration &settings) {
        work(settings, modes_.path_from(configuration_position));
        return failure();
    });
}

failure session::read_configuration(std::string &text, bool &is_partial) const
{
    configuration running = kept_.empty();
    if (auto failed = kept_.read(running))
        return failed;
    lost_parts around(daemon_, newest_);
    configuration_parts parts(around.tree(tree_), chosen_.wait_seconds);
    std::vector<configuration::foreign_text> texts;
    for (size_t i = 0; i < parts.size(); ++i)
        texts.push_back({parts.priority(i), [&, i](std::string &to) { parts.append(i, to); }});
    running.write_to_apply(texts, text);
    const std::string lost = around.lines();
    text += lost;
    is_partial = !parts.missing().empty() || !lost.empty();
    return is_partial
               ? failure("% the running configuration is incomplete:\n" + parts.missing() + lost)
               : failure();
}

void session::report(std::string_view location, std::string_view text) const
{
    const bool stands = text.ends_with('\n');
    std::string message(location);
    message.append(stands ? "" : "% ").append(text).append(stands ? "" : "\n");
    where_.error.write(message);
}

void session::report(std::string_view location, std::string_view line,
                     const line_error &error) const
{
    std::string message = pointed_out(line, error.position);
    message.append(location).append("% ").append(error.text).append("\n");
    where_.error.write(message);
}

failure session::inform(std::string_view text) const
{
    const int error = chosen_.quiet == 0 ? where_.output.write(text) : 0;
    return error == 0 ? failure() : system_failure("standard output", error);
}

} // namespace kiv_shell
