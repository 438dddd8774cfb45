// A text as the comparison sees it: lines, and blocks of them.
//
// Blanks at its beginning give a line its level, from 1 to 3; blank lines do not count. A line
// belongs to the nearest line above it that has a lower level. So a block, a line with all that
// belongs to it, ends where a line of its own level or a lower one begins.
#ifndef KIV_EXEC_DIFF_LINES_H
#define KIV_EXEC_DIFF_LINES_H

#include <cstring>
#include <string_view>

namespace kiv::diff {

inline constexpr int deepest_level = 3;

// Whole lines, each with its newline.
struct lines {
    const char *begin;
    const char *end;
};

struct block {
    const char *begin;
    const char *text_end; // the newline of its first line
    const char *end;

    std::string_view text() const { return {begin, static_cast<size_t>(text_end - begin)}; }
    std::string_view bytes() const { return {begin, static_cast<size_t>(end - begin)}; }
    lines children() const { return {text_end + 1, end}; }
};

// The newline of the line.
inline const char *end_of_line(const char *line, const char *end)
{
    return static_cast<const char *>(std::memchr(line, '\n', static_cast<size_t>(end - line)));
}

inline int level_of(const char *line)
{
    int blanks = 0;
    while (blanks < 2 * (deepest_level - 1) && line[blanks] == ' ')
        ++blanks;
    return blanks / 2 + 1;
}

// As isspace in the C locale, whatever the caller's is.
inline bool is_white(char character)
{
    return character == ' ' || (character >= '\t' && character <= '\r');
}

inline bool is_blank(const char *line)
{
    while (*line != '\n' && is_white(*line))
        ++line;
    return *line == '\n';
}

// Whether the line is not blank and has this level or a lower one.
inline bool starts_block(const char *line, int level)
{
    return static_cast<unsigned char>(*line) > ' ' || (level_of(line) <= level && !is_blank(line));
}

// The first line that does; `end` where there is none.
inline const char *find_block(const char *line, const char *end, int level)
{
    while (line != end && !starts_block(line, level))
        line = end_of_line(line, end) + 1;
    return line;
}

// The blocks of a range, one after the other. The end of a block is only looked for on demand.
class block_reader {
public:
    explicit block_reader(lines range)
        : begin_(find_block(range.begin, range.end, deepest_level)), end_(range.end)
    {
    }

    bool done() const { return begin_ == end_; }

    // Where the next block begins.
    const char *position() const { return begin_; }

    size_t bytes_left() const { return static_cast<size_t>(end_ - begin_); }

    // Remembers a long block: one side may be looked at many times before it moves on.
    block peek()
    {
        if (long_block_.begin == begin_)
            return long_block_;
        const char *text_end = end_of_line(begin_, end_);
        const block found{begin_, text_end, find_block(text_end + 1, end_, level_of(begin_))};
        if (found.bytes().size() > worth_remembering)
            long_block_ = found;
        return found;
    }

    // Whether the next block has exactly these bytes. May miss one that has more blank lines.
    bool is_next(const block &other) const
    {
        const std::string_view bytes = other.bytes();
        if (bytes.size() > static_cast<size_t>(end_ - begin_) ||
            std::memcmp(begin_, bytes.data(), bytes.size()) != 0)
            return false;
        const char *behind = begin_ + bytes.size();
        return behind == end_ || starts_block(behind, level_of(begin_));
    }

    // Whether the block behind this one begins with a line of this text.
    bool is_behind(const block &before, std::string_view text) const
    {
        return text.size() < static_cast<size_t>(end_ - before.end) &&
               before.end[text.size()] == '\n' &&
               std::memcmp(before.end, text.data(), text.size()) == 0;
    }

    void skip(size_t bytes) { begin_ += bytes; }

private:
    static constexpr size_t worth_remembering = 1024;

    const char *begin_;
    const char *end_;
    block long_block_{};
};

} // namespace kiv::diff

#endif
