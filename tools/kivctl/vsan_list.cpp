#include "vsan_list.h"

#include <charconv>
#include <cstdint>
#include <cstring>

namespace kivctl {

namespace {

// Takes a number from the beginning of the text.
bool take_number(std::string_view &text, uint32_t &number)
{
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    text.remove_prefix(static_cast<size_t>(rest - text.data()));
    return error == std::errc();
}

bool take_character(std::string_view &text, char character)
{
    if (!text.starts_with(character))
        return false;
    text.remove_prefix(1);
    return true;
}

// Takes "N" or "N-M" and adds what it says.
bool take_range(std::string_view &text, bmask4096 &vsans)
{
    uint32_t first = 0;
    if (!take_number(text, first))
        return false;
    uint32_t last = first;
    if (take_character(text, '-') && !take_number(text, last))
        return false;
    if (last < first || last >= KIV_VSAN_BITS)
        return false;
    for (uint32_t vsan = first; vsan <= last; ++vsan)
        bmask4096_set_bit(&vsans, vsan);
    return true;
}

} // namespace

bool read_vsans(std::string_view text, bmask4096 &vsans)
{
    if (text == "none")
        return true;
    if (text == "all") {
        std::memset(vsans.bytes, 0xFF, sizeof vsans.bytes);
        return true;
    }
    do {
        if (!take_range(text, vsans))
            return false;
    } while (take_character(text, ','));
    return text.empty();
}

} // namespace kivctl
