#include "support/shell_word.h"

#include <algorithm>

namespace kiv::support {

namespace {

bool is_control(char c)
{
    return (c >= '\0' && c < ' ') || c == '\x7f';
}

} // namespace

bool is_plain_word(std::string_view text)
{
    return !text.empty() && text.front() != '!' && text.front() != '>' &&
           text.find_first_of(" \"\\") == std::string_view::npos &&
           std::ranges::none_of(text, is_control);
}

std::string quoted_word(std::string_view text)
{
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            quoted += '\\';
        quoted += c;
    }
    return quoted += '"';
}

std::string shell_word(std::string_view text)
{
    return is_plain_word(text) ? std::string(text) : quoted_word(text);
}

} // namespace kiv::support
