#ifndef GRAMMAR_NUMBERS_H
#define GRAMMAR_NUMBERS_H

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace kiv::grammar {

// A decimal number, or a hexadecimal one with 0x, with a minus sign where `lowest` is below 0.
// The value is in the low bits, in two's complement. Refuses what is out of range or no number.
uint64_t number_between(std::string_view text, int64_t lowest, uint64_t highest);

template <typename Integer>
Integer number(std::string_view text)
{
    using limits = std::numeric_limits<Integer>;
    return static_cast<Integer>(number_between(text, static_cast<int64_t>(limits::min()),
                                               static_cast<uint64_t>(limits::max())));
}

// A hexadecimal number of at most 32 bits, with or without 0x.
uint32_t hexadecimal(std::string_view text);

// A number in hexadecimal, without and with 0x.
std::string hexadecimal_digits(uint64_t value);
std::string hexadecimal_text(uint64_t value);

// The two halves of MIN..MAX, not read yet.
struct bounds_text {
    std::string_view minimum;
    std::string_view maximum;
};

bounds_text split_bounds(std::string_view text);

} // namespace kiv::grammar

#endif
