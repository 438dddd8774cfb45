#ifndef GRAMMAR_LINES_H
#define GRAMMAR_LINES_H

#include <cstddef>
#include <string_view>

namespace kiv::grammar {

constexpr size_t spaces_per_level = 2;

struct source_line {
    size_t number;         // from 1
    size_t indentation;    // leading spaces
    std::string_view body; // from the first other character on; never empty
};

// Hands out the lines that hold a statement. Lines end with LF or CR LF; a byte order mark in front
// of the text, blank lines and comments are passed over, whatever bytes a comment holds.
class line_reader {
public:
    explicit line_reader(std::string_view text);

    bool next(source_line &line);

private:
    std::string_view take_line();

    std::string_view rest_;
    size_t number_ = 0;
};

// How many levels down the line stands. Refuses an indentation that is no whole number of levels.
size_t level_of(const source_line &line);

} // namespace kiv::grammar

#endif
