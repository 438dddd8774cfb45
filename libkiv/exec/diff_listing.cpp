#include "exec/diff_listing.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace kiv::diff {

namespace {

constexpr std::string_view margin = "    ";
constexpr size_t smallest_capacity = 4096;

} // namespace

void listing::add(char mark, const block &lines)
{
    for (; printed_ < depth_; ++printed_)
        append(' ', context_[printed_]);
    const char *line = lines.begin;
    while (line != lines.end) {
        const char *line_end = end_of_line(line, lines.end);
        append(mark, {line, static_cast<size_t>(line_end - line)});
        line = find_block(line_end + 1, lines.end, deepest_level);
    }
}

void listing::enter(std::string_view line)
{
    context_[depth_++] = line;
}

void listing::leave()
{
    --depth_;
    printed_ = std::min(printed_, depth_);
}

heap_text listing::release()
{
    reserve(1);
    text_.get()[length_] = '\0';
    length_ = 0;
    capacity_ = 0;
    return std::move(text_);
}

void listing::append(char mark, std::string_view line)
{
    reserve(margin.size() + 1 + line.size() + 1);
    char *to = text_.get() + length_;
    std::memcpy(to, margin.data(), margin.size());
    to[margin.size()] = mark;
    std::memcpy(to + margin.size() + 1, line.data(), line.size());
    to[margin.size() + 1 + line.size()] = '\n';
    length_ += margin.size() + 1 + line.size() + 1;
}

void listing::reserve(size_t more)
{
    if (more <= capacity_ - length_)
        return;
    const size_t capacity = std::max({smallest_capacity, 2 * capacity_, length_ + more});
    char *larger = static_cast<char *>(std::realloc(text_.get(), capacity));
    if (larger == nullptr)
        throw std::bad_alloc();
    static_cast<void>(text_.release());
    text_.reset(larger);
    capacity_ = capacity;
}

} // namespace kiv::diff
