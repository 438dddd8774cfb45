#include "grammar/numbers.h"

#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <system_error>

#include "grammar/refusal.h"

namespace kiv::grammar {

namespace {

constexpr std::string_view hexadecimal_prefix = "0x";

// The whole text as digits of the base; a sign is no digit.
std::optional<uint64_t> digits(std::string_view text, int base)
{
    uint64_t value = 0;
    const char *end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, value, base);
    if (error != std::errc() || stopped != end)
        return std::nullopt;
    return value;
}

std::optional<uint64_t> magnitude(std::string_view text)
{
    if (text.starts_with(hexadecimal_prefix))
        return digits(text.substr(hexadecimal_prefix.size()), 16);
    return digits(text, 10);
}

} // namespace

uint64_t number_between(std::string_view text, int64_t lowest, uint64_t highest)
{
    const bool negative = text.starts_with('-');
    const std::optional<uint64_t> value = magnitude(text.substr(negative ? 1 : 0));
    const uint64_t lowest_magnitude = 0 - static_cast<uint64_t>(lowest);
    const bool fits =
        value &&
        (negative ? lowest < 0 && *value <= lowest_magnitude
                  : *value <= highest && (lowest <= 0 || *value >= static_cast<uint64_t>(lowest)));
    if (!fits)
        refuse_found("a number from " + std::to_string(lowest) + " to " + std::to_string(highest),
                     text);
    return negative ? 0 - *value : *value;
}

uint32_t hexadecimal(std::string_view text)
{
    const bool prefixed = text.starts_with(hexadecimal_prefix);
    const std::optional<uint64_t> value =
        digits(text.substr(prefixed ? hexadecimal_prefix.size() : 0), 16);
    if (!value || *value > std::numeric_limits<uint32_t>::max())
        refuse_found("a hexadecimal number of at most 32 bits", text);
    return static_cast<uint32_t>(*value);
}

std::string hexadecimal_digits(uint64_t value)
{
    std::array<char, 16> room;
    return {room.data(), std::to_chars(room.data(), room.data() + room.size(), value, 16).ptr};
}

std::string hexadecimal_text(uint64_t value)
{
    return std::string(hexadecimal_prefix) + hexadecimal_digits(value);
}

bounds_text split_bounds(std::string_view text)
{
    constexpr std::string_view separator = "..";
    const size_t position = text.find(separator);
    if (position == std::string_view::npos)
        refuse_found("MIN..MAX", text);
    return {text.substr(0, position), text.substr(position + separator.size())};
}

} // namespace kiv::grammar
