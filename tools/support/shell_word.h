// How the shell reads words: a word ends at a blank, one in double quotes at the next double quote,
// with \" and \\ for the two characters; '!' begins a comment and '>' names a file.
#ifndef SUPPORT_SHELL_WORD_H
#define SUPPORT_SHELL_WORD_H

#include <string>
#include <string_view>

namespace kiv::support {

// Whether the shell reads the text as one word as it stands, wherever it is in a line.
bool is_plain_word(std::string_view text);

// The text as one word of a line, in quotes.
std::string quoted_word(std::string_view text);

// The text as one word of a line, in quotes where it needs them.
std::string shell_word(std::string_view text);

} // namespace kiv::support

#endif
