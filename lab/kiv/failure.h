#ifndef LAB_KIV_FAILURE_H
#define LAB_KIV_FAILURE_H

#include <optional>
#include <string>
#include <string_view>

namespace kiv_shell {

// What went wrong, in words for the user; empty where nothing did.
using failure = std::optional<std::string>;

// "NAME: the system's reason", from an errno value (POSIX).
std::string system_failure(std::string_view name, int error);

// The text on one line of a terminal: what is not printable becomes '?'.
std::string printable(std::string_view text);

} // namespace kiv_shell

#endif
