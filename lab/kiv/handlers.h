// The functions that commands run, by the function id of their node.
#ifndef LAB_KIV_HANDLERS_H
#define LAB_KIV_HANDLERS_H

#include <string_view>

#include "failure.h"
#include "files.h"
#include "modes.h"
#include "parser.h"

namespace kiv_shell {

class session;

struct invocation {
    session &shell;
    const command &parsed;
    output &out;
    bool configures; // the command is one of configuration mode
};

struct handler {
    std::string_view name;
    failure (*run)(const invocation &call); // null: nothing beyond the change of mode
    mode_change after;
};

constexpr std::string_view configure_function = "configure_terminal";

// The handler of a command that ends at the node, or null: the one that sends it to its module, or
// of the shell's own functions. A command that only enters a mode has no function id, and a handler
// that does nothing.
const handler *find_handler(const tree_view &tree, node_index node);

// Whether what the function prints is meant to be looked at, and can be had as XML.
inline bool is_show_function(std::string_view function)
{
    return function.starts_with("show_");
}

} // namespace kiv_shell

#endif
