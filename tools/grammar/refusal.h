// How the parts of the compiler turn a line down.
#ifndef GRAMMAR_REFUSAL_H
#define GRAMMAR_REFUSAL_H

#include <string>
#include <string_view>

namespace kiv::grammar {

// Thrown by whatever reads a line; caught where the line's number is known.
struct refusal {
    std::string text;
};

[[noreturn]] void refuse(std::string text);

// "expected EXPECTED, found FOUND", the latter in quotes.
[[noreturn]] void refuse_found(std::string_view expected, std::string_view found);

// The text in double quotes for a message; a long one is cut.
std::string quoted(std::string_view text);

} // namespace kiv::grammar

#endif
