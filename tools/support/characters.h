// Characters of UTF-8 text.
#ifndef SUPPORT_CHARACTERS_H
#define SUPPORT_CHARACTERS_H

#include <cstddef>
#include <string>
#include <string_view>

namespace kiv::support {

struct character {
    char32_t code;
    size_t length; // in bytes; 0: the bytes are no character
};

// The character that `text`, which is not empty, begins with.
character first_character(std::string_view text);

// Not a character that a terminal would act on.
bool is_printable(char32_t code);

// The text with every byte that is not of a printable character as \xNN.
std::string printable(std::string_view text);

} // namespace kiv::support

#endif
