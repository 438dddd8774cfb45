#ifndef LAB_KIV_FAILURE_H
#define LAB_KIV_FAILURE_H

#include <optional>
#include <string>
#include <string_view>

#include "support/characters.h"

namespace kiv_shell {

// What went wrong, in words for the user; empty where nothing did.
using failure = std::optional<std::string>;

// "NAME: the system's reason", from an errno value (POSIX).
std::string system_failure(std::string_view name, int error);

// The text on one line of a terminal.
using kiv::support::printable;

// Where the character begins that this byte belongs to.
size_t character_start(std::string_view text, size_t position);

// The length in bytes of the character here; 1 where the bytes are none.
size_t character_length(std::string_view text, size_t position);

} // namespace kiv_shell

#endif
