#include "failure.h"

#include <algorithm>
#include <system_error>

namespace kiv_shell {

std::string system_failure(std::string_view name, int error)
{
    return printable(name) + ": " + std::generic_category().message(error);
}

size_t character_start(std::string_view text, size_t position)
{
    while (position > 0 && (static_cast<unsigned char>(text[position]) & 0xC0) == 0x80)
        --position;
    return position;
}

size_t character_length(std::string_view text, size_t position)
{
    return std::max(kiv::support::first_character(text.substr(position)).length, size_t{1});
}

} // namespace kiv_shell
