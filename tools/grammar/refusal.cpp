#include "grammar/refusal.h"

#include <utility>

namespace kiv::grammar {

namespace {

constexpr size_t longest_shown = 48;

bool continues_character(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

} // namespace

void refuse(std::string text)
{
    throw refusal{std::move(text)};
}

void refuse_found(std::string_view expected, std::string_view found)
{
    refuse("expected " + std::string(expected) + ", found " + quoted(found));
}

std::string quoted(std::string_view text)
{
    if (text.size() <= longest_shown)
        return '"' + std::string(text) + '"';
    size_t end = longest_shown;
    while (end > 0 && continues_character(text[end]))
        --end;
    return '"' + std::string(text.substr(0, end)) + "...\"";
}

} // namespace kiv::grammar
