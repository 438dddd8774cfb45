#include "failure.h"

#include <algorithm>
#include <system_error>

namespace kiv_shell {

std::string system_failure(std::string_view name, int error)
{
    return printable(name) + ": " + std::generic_category().message(error);
}

std::string printable(std::string_view text)
{
    std::string shown(text);
    std::replace_if(
        shown.begin(), shown.end(),
        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, '?');
    return shown;
}

} // namespace kiv_shell
