#include "words.h"

#include <algorithm>

#include "support/characters.h"

namespace kiv_shell {

namespace {

constexpr std::string_view blanks = " \t";

// What no line may hold, as it could do something to a terminal or be shown in another way.
std::optional<line_error> unprintable_character(std::string_view text)
{
    for (size_t at = 0; at < text.size();) {
        const kiv::support::character next = kiv::support::first_character(text.substr(at));
        if (next.length == 0)
            return line_error{at, "not a character of UTF-8"};
        if (next.code != '\t' && !kiv::support::is_printable(next.code))
            return line_error{at, "control character"};
        at += next.length;
    }
    return {};
}

bool is_escape(std::string_view line, size_t position)
{
    return line[position] == '\\' && position + 1 < line.size() &&
           (line[position + 1] == '"' || line[position + 1] == '\\');
}

} // namespace

bool is_blank_or_comment(std::string_view line)
{
    const size_t start = line.find_first_not_of(blanks);
    return start == std::string_view::npos || line[start] == '!';
}

word_reader::word_reader(std::string_view line)
    : line_(line.substr(0, line.find_last_not_of(blanks) + 1))
{
    go_to(0);
}

std::optional<line_error> word_reader::check() const
{
    return unprintable_character(line_);
}

std::optional<line_error> word_reader::peek(word &into) const
{
    into = {position_, {}, line_[position_] == '"'};
    if (into.quoted)
        return peek_quoted(into);
    into.text = line_.substr(position_, word_end() - position_);
    return {};
}

std::optional<line_error> word_reader::peek_quoted(word &into) const
{
    const size_t end = word_end();
    if (end == std::string_view::npos)
        return line_error{position_, "quote without an end"};
    if (end < line_.size() && blanks.find(line_[end]) == std::string_view::npos)
        return line_error{end, "blank expected after the closing quote"};
    for (size_t i = position_ + 1; i + 1 < end; ++i) {
        if (is_escape(line_, i))
            ++i;
        into.text += line_[i];
    }
    return {};
}

size_t word_reader::word_end() const
{
    if (line_[position_] != '"')
        return std::min(line_.find_first_of(blanks, position_), line_.size());
    for (size_t i = position_ + 1; i < line_.size(); ++i) {
        if (is_escape(line_, i))
            ++i;
        else if (line_[i] == '"')
            return i + 1;
    }
    return std::string_view::npos;
}

void word_reader::skip_word()
{
    go_to(word_end());
}

void word_reader::skip_redirection()
{
    go_to(position_ + 1);
}

std::string_view word_reader::take_rest()
{
    const std::string_view rest = line_.substr(position_);
    position_ = line_.size();
    return rest;
}

void word_reader::go_to(size_t position)
{
    position_ = std::min(line_.find_first_not_of(blanks, position), line_.size());
}

} // namespace kiv_shell
