// What the comparison prints: a line for each difference, below the lines that it stands under.
#ifndef KIV_EXEC_DIFF_LISTING_H
#define KIV_EXEC_DIFF_LISTING_H

#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "exec/diff_lines.h"

namespace kiv::diff {

struct freed {
    void operator()(char *text) const { std::free(text); }
};
using heap_text = std::unique_ptr<char, freed>;

class listing {
public:
    // All lines of the block, with the mark '-' or '+'.
    void add(char mark, const block &lines);

    // A line that is in both texts, until leave. It is only printed if something comes below it.
    void enter(std::string_view line);
    void leave();

    bool empty() const { return length_ == 0; }

    // The listing as a string from malloc.
    heap_text release();

private:
    void append(char mark, std::string_view line);
    void reserve(size_t more);

    heap_text text_;
    size_t length_ = 0;
    size_t capacity_ = 0;

    // The lines that have been entered, and how many of them have been printed.
    std::array<std::string_view, deepest_level - 1> context_;
    size_t depth_ = 0;
    size_t printed_ = 0;
};

} // namespace kiv::diff

#endif
