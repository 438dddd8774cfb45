#include "handlers.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <sys/utsname.h>
#include <unistd.h>

#include "module_link.h"
#include "session.h"

namespace kiv_shell {

namespace {

failure show_version(const invocation &call)
{
    utsname system;
    if (uname(&system) != 0)
        return system_failure("uname", errno);
    std::string text = "Shell:    kiv " KIV_SHELL_VERSION "\n";
    text.append("Variant:  ").append(call.shell.chosen().boot ? "boot" : "normal").append("\n");
    text.append("Machine:  ").append(system.machine).append("\n");
    text.append("Kernel:   ").append(system.sysname).append(" ").append(system.release);
    call.out.write(text += "\n");
    return {};
}

std::string heading(const options &chosen, bool of_peer)
{
    std::string text = "! Running configuration";
    text.append(of_peer ? " of the peer\n" : "\n");
    if (!chosen.peer_version.empty())
        text.append("! Peer version: ").append(printable(chosen.peer_version)).append("\n");
    return text.append("! Shell version: " KIV_SHELL_VERSION "\n");
}

failure show_running_config(const invocation &call)
{
    const options &chosen = call.shell.chosen();
    if (chosen.with_heading())
        call.out.write(heading(chosen, chosen.peer));
    bool is_partial = false;
    failure failed = call.shell.read_configuration(call.out.text(), is_partial);
    if (is_partial)
        call.out.show_in_any_case();
    return failed;
}

failure show_running_config_peer(const invocation &call)
{
    if (!call.shell.chosen().peer)
        return "only the peer variant of the shell (-L) shows the peer's configuration";
    return show_running_config(call);
}

failure configure_terminal(const invocation &call)
{
    if (call.shell.chosen().input == input_kind::standard_input && isatty(STDIN_FILENO) == 1)
        return call.shell.inform(
            "Configuration commands, one per line; \"end\" leaves the mode.\n");
    return {};
}

failure set(const invocation &call)
{
    return call.shell.change_configuration(
        [&](configuration &running, const std::vector<setting> &path) {
            running.put(path, setting_of(call.shell.tree(), call.parsed));
        });
}

// "no WORDS": removes the settings that begin with the words.
failure unset(const invocation &call)
{
    std::vector<std::string> words = setting_of(call.shell.tree(), call.parsed).words;
    if (words.front() == "no")
        words.erase(words.begin());
    if (words.empty())
        return "nothing is named that could be removed";
    return call.shell.change_configuration(
        [&](configuration &running, const std::vector<setting> &path) {
            running.remove(path, words);
        });
}

failure run_in_module(const invocation &call)
{
    return call.shell.run_in_module(call.parsed, call.configures, call.out.text());
}

constexpr handler module_handler{"", run_in_module, mode_change::none};

constexpr std::array handlers{
    handler{"", nullptr, mode_change::none},
    handler{"show_version", show_version, mode_change::none},
    handler{"show_running_config", show_running_config, mode_change::none},
    handler{"show_running_config_peer", show_running_config_peer, mode_change::none},
    handler{configure_function, configure_terminal, mode_change::none},
    handler{"set", set, mode_change::none},
    handler{add_function, set, mode_change::none},
    handler{"unset", unset, mode_change::none},
    handler{"exit", nullptr, mode_change::leave},
    handler{"end", nullptr, mode_change::leave_all},
};

} // namespace

const handler *find_handler(const tree_view &tree, node_index node)
{
    if (service_of(tree, node) != 0)
        return &module_handler;
    const std::string_view function = tree.function(node);
    const auto found = std::find_if(handlers.begin(), handlers.end(),
                                    [&](const handler &row) { return row.name == function; });
    return found == handlers.end() ? nullptr : &*found;
}

} // namespace kiv_shell
