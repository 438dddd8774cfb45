#include "grammar/words.h"

#include <algorithm>

#include "grammar/refusal.h"
#include "support/characters.h"

namespace kiv::grammar {

namespace {

// More than any statement needs, so that a line of any length takes little memory.
constexpr size_t most_words = 256;

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

void check_characters(std::string_view body)
{
    for (std::string_view rest = body; !rest.empty();) {
        const support::character next = support::first_character(rest);
        if (next.length == 0)
            refuse("expected UTF-8 text, found the byte " +
                   quoted(support::printable(rest.substr(0, 1))));
        if (!support::is_printable(next.code) && next.code != '\t')
            refuse("expected text, found the control character " +
                   quoted(support::printable(rest.substr(0, next.length))));
        rest.remove_prefix(next.length);
    }
}

char take_character(std::string_view &rest)
{
    const char c = rest.front();
    rest.remove_prefix(1);
    return c;
}

char take_escaped(std::string_view &rest)
{
    const std::string_view next = rest.substr(0, 1);
    if (next != "\"" && next != "\\")
        refuse("expected \\\" or \\\\ in a quoted word, found a backslash before something else");
    return take_character(rest);
}

word take_quoted(std::string_view &rest)
{
    rest.remove_prefix(1);
    word taken{{}, true};
    while (!rest.empty()) {
        const char c = take_character(rest);
        if (c == '"') {
            if (!rest.empty() && !is_blank(rest.front()))
                refuse_found("a blank after the closing quote", rest);
            return taken;
        }
        if (c == '\t')
            refuse("expected text in a quoted word, found a tab");
        taken.text += c == '\\' ? take_escaped(rest) : c;
    }
    refuse("expected a closing quote, found the end of the line");
}

word take_plain(std::string_view &rest)
{
    const size_t length = std::min(rest.find_first_of(" \t"), rest.size());
    word taken{std::string(rest.substr(0, length)), false};
    if (taken.text.find('"') != std::string::npos)
        refuse_found("a quote only at the ends of a word", taken.text);
    rest.remove_prefix(length);
    return taken;
}

} // namespace

word_list::word_list(std::string_view body)
{
    check_characters(body);
    while (true) {
        body.remove_prefix(std::min(body.find_first_not_of(" \t"), body.size()));
        if (body.empty())
            return;
        if (words_.size() == most_words)
            refuse("expected at most " + std::to_string(most_words) + " words, found more");
        words_.push_back(body.front() == '"' ? take_quoted(body) : take_plain(body));
    }
}

const word *word_list::peek() const
{
    return next_ < words_.size() ? &words_[next_] : nullptr;
}

const word &word_list::take(std::string_view name)
{
    if (peek() == nullptr) {
        const std::string after = next_ > 0 ? " after " + quoted(words_[next_ - 1].text) : "";
        refuse("expected " + std::string(name) + after + ", found the end of the line");
    }
    return words_[next_++];
}

void word_list::expect_end() const
{
    if (peek() != nullptr)
        refuse_found("the end of the line", peek()->text);
}

} // namespace kiv::grammar
