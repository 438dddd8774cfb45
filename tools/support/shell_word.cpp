#include "support/shell_word.h"

#include "support/characters.h"

namespace kiv::support {

namespace {

// A line with one of these could do something to a terminal, or be shown in another way.
bool is_unprintable(std::string_view text)
{
    for (size_t at = 0; at < text.size();) {
        const character next = first_character(text.substr(at));
        if (next.length == 0 || !is_printable(next.code))
            return true;
        at += next.length;
    }
    return false;
}

} // namespace

bool is_plain_word(std::string_view text)
{
    return !text.empty() && text.front() != '!' && text.front() != '>' &&
           text.find_first_of(" \"\\") == std::string_view::npos && !is_unprintable(text);
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
