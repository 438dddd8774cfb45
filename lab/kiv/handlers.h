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
};

struct handler {
    std::string_view name;
    failure (*run)(const invocation &call); // null: nothing beyond the change of mode
    mode_change after;
    bool shows = false; // what it prints can be had as XML
};

constexpr std::string_view configure_function = "configure_terminal";

// The handler of a function id, or null. A command that only enters a mode has no function id,
// and a handler that does nothing.
const handler *find_handler(std::string_view function);

} // namespace kiv_shell

#endif
