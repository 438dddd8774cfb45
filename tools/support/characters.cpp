#include "support/characters.h"

#include <array>
#include <cstdint>

namespace kiv::support {

namespace {

constexpr size_t longest_character = 4;

// The lowest code that needs so many bytes; a lower one has a shorter form, which is the only one.
constexpr std::array<char32_t, longest_character + 1> lowest_code{0, 0, 0x80, 0x800, 0x10000};

uint8_t byte_at(std::string_view text, size_t position)
{
    return static_cast<uint8_t>(text[position]);
}

size_t length_by_lead(uint8_t lead)
{
    if (lead < 0x80)
        return 1;
    for (size_t length = 2; length <= longest_character; ++length) {
        const uint8_t high_bits = static_cast<uint8_t>(0xFF << (7 - length));
        if ((lead & high_bits) == static_cast<uint8_t>(high_bits << 1))
            return length;
    }
    return 0;
}

bool is_code_point(char32_t code)
{
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return !surrogate && code <= 0x10FFFF;
}

void append_escaped(std::string &to, uint8_t byte)
{
    constexpr std::string_view digits = "0123456789abcdef";
    to += "\\x";
    to += digits[byte >> 4];
    to += digits[byte & 0xF];
}

} // namespace

character first_character(std::string_view text)
{
    const uint8_t lead = byte_at(text, 0);
    const size_t length = length_by_lead(lead);
    if (length == 1)
        return {lead, 1};
    if (length == 0 || length > text.size())
        return {};
    char32_t code = lead & (0x7FU >> length);
    for (size_t i = 1; i < length; ++i) {
        const uint8_t byte = byte_at(text, i);
        if ((byte & 0xC0) != 0x80)
            return {};
        code = code << 6 | (byte & 0x3FU);
    }
    if (code < lowest_code[length] || !is_code_point(code))
        return {};
    return {code, length};
}

bool is_printable(char32_t code)
{
    return code >= 0x20 && (code < 0x7F || code > 0x9F);
}

std::string printable(std::string_view text)
{
    std::string shown;
    while (!text.empty()) {
        const character next = first_character(text);
        if (next.length != 0 && is_printable(next.code)) {
            shown += text.substr(0, next.length);
            text.remove_prefix(next.length);
        } else {
            append_escaped(shown, byte_at(text, 0));
            text.remove_prefix(1);
        }
    }
    return shown;
}

} // namespace kiv::support
