#include "grammar/lines.h"

#include <algorithm>
#include <string>

#include "grammar/refusal.h"

namespace kiv::grammar {

namespace {

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
constexpr std::string_view blanks = " \t";

bool holds_statement(std::string_view line)
{
    const size_t first = line.find_first_not_of(blanks);
    return first != std::string_view::npos && line[first] != '#';
}

} // namespace

line_reader::line_reader(std::string_view text) : rest_(text)
{
    if (rest_.starts_with(byte_order_mark))
        rest_.remove_prefix(byte_order_mark.size());
}

bool line_reader::next(source_line &line)
{
    while (!rest_.empty()) {
        const std::string_view text = take_line();
        if (!holds_statement(text))
            continue;
        const size_t indentation = text.find_first_not_of(' ');
        line = {number_, indentation, text.substr(indentation)};
        return true;
    }
    return false;
}

std::string_view line_reader::take_line()
{
    const size_t length = std::min(rest_.find('\n'), rest_.size());
    std::string_view line = rest_.substr(0, length);
    rest_.remove_prefix(std::min(length + 1, rest_.size()));
    ++number_;
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    return line;
}

size_t level_of(const source_line &line)
{
    if (line.body.starts_with('\t'))
        refuse("expected two spaces of indentation for each level, found a tab");
    if (line.indentation % spaces_per_level != 0)
        refuse("expected two spaces of indentation for each level, found " +
               std::to_string(line.indentation) + " in all");
    return line.indentation / spaces_per_level;
}

} // namespace kiv::grammar
