// A session: command lines, run one after the other.
#ifndef LAB_KIV_SESSION_H
#define LAB_KIV_SESSION_H

#include <functional>
#include <string>
#include <string_view>

#include "configuration.h"
#include "daemon_link.h"
#include "failure.h"
#include "files.h"
#include "followed_tree.h"
#include "kept_configuration.h"
#include "modes.h"
#include "module_link.h"
#include "options.h"
#include "parser.h"
#include "store.h"
#include "tree.h"

namespace kiv_shell {

struct handler;

struct streams {
    text_sink output;
    text_sink error;
};

inline streams standard_streams()
{
    return {text_sink(STDOUT_FILENO), text_sink(STDERR_FILENO)};
}

enum class line_outcome {
    done,
    failed,         // the command is one, but could not be done
    not_understood, // the line is no command of the mode
};

class session {
public:
    // Everything referred to outlives the session.
    session(const options &chosen, const tree_view &tree, configuration_store &store,
            streams where);

    const options &chosen() const { return chosen_; }
    const tree_view &tree() const { return tree_; }
    mode_stack &modes() { return modes_; }

    // From now on the user may run what the daemon's roles permit, configuration takes the lock,
    // and commands of the outermost mode are those of the daemon's newest tree. Both outlive the
    // session; its tree is the view of this one.
    void take_part(daemon_link &daemon, followed_tree &newest);

    // Takes the daemon's newest tree, if it is another one, unless the session is in a mode.
    void refresh_tree();

    // Puts the session into configuration mode for good, as for a configuration file.
    failure stay_in_configuration_mode();

    // Runs a line in the current mode and reports what is wrong with it, after `location`. A blank
    // line is done. "do LINE" runs the line in the outermost mode, unless the current one has such
    // a keyword.
    line_outcome run_line(std::string_view line, std::string_view location = {});

    // The handler of the command, which is one of configuration mode or not; fails where there is
    // none, or the user may not run it, as execute() does.
    failure find(const command &parsed, bool configures, const handler *&found) const;
    failure execute(const command &parsed);

    // What a handler of a module's command does.
    failure run_in_module(const command &parsed, bool configures, std::string &output);

    // Whether show commands print XML from now on; at first they do not.
    void show_as_xml(bool wanted) { shows_xml_ = wanted; }

    // Where show commands print from now on, unless their output goes into a file.
    using pager = std::function<failure(std::string_view text)>;
    void page_with(pager wanted) { pager_ = std::move(wanted); }

    // Set by a command that leaves the outermost mode.
    bool ended() const { return ended_; }

    // Changes the running configuration, in the block of the current mode.
    using change = std::function<void(configuration &, const std::vector<setting> &path)>;
    failure change_configuration(const change &work);

    // Everything that `work` changes goes into the store at once, or nothing if it fails.
    failure in_one_change(const std::function<failure()> &work);

    // Adds the running configuration of shell and modules, as it is applied again. Where parts of
    // it could not be had, the text is partial, and says where.
    failure read_configuration(std::string &text, bool &is_partial) const;

    // A text that ends with a newline is shown as it stands.
    void report(std::string_view location, std::string_view text) const;
    void report(std::string_view location, std::string_view line, const line_error &error) const;

    // A message that is left out when the shell is to be quiet.
    [[nodiscard]] failure inform(std::string_view text) const;

private:
    bool is_configuring() const;
    line_outcome conclude(std::string_view location, const failure &failed) const;
    failure execute_outside(const command &parsed);
    failure prepare(const command &parsed, bool configures, const handler *&found, output &out);
    failure run(const handler &found, const command &parsed, bool configures, output &out);
    failure finish(const command &parsed, output &out);
    bool enters_configuration(const command &parsed) const;
    failure give_up_lock();

    const options &chosen_;
    const tree_view &tree_;
    streams where_;
    // The mode whose commands make up the running configuration, if the tree has one.
    std::optional<node_index> configuration_mode_;
    mode_stack modes_;
    kept_configuration kept_;
    module_link modules_;
    daemon_link *daemon_ = nullptr;
    followed_tree *newest_ = nullptr;
    std::optional<rights> limits_;
    pager pager_;
    bool ended_ = false;
    bool shows_xml_ = false;
};

} // namespace kiv_shell

#endif
