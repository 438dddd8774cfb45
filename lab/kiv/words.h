// Command lines as words.
#ifndef LAB_KIV_WORDS_H
#define LAB_KIV_WORDS_H

#include <optional>
#include <string>
#include <string_view>

#include "support/shell_word.h"

namespace kiv_shell {

using kiv::support::is_plain_word;
using kiv::support::quoted_word;

struct word {
    size_t position = 0; // where it begins in the line
    std::string text;    // without quotes and escapes
    bool quoted = false; // an argument, whatever keywords there are
};

struct line_error {
    size_t position;
    std::string text;
};

// Nothing to do: no word, or a comment.
bool is_blank_or_comment(std::string_view line);

// Takes a line apart. A word ends at a blank; one that begins with a double quote ends at the next
// one, with \" and \\ for the two characters. A '>' is the redirection where it begins a word.
class word_reader {
public:
    explicit word_reader(std::string_view line);

    // A character that no line may hold.
    std::optional<line_error> check() const;

    bool at_end() const { return position_ == line_.size(); }
    bool at_redirection() const { return !at_end() && line_[position_] == '>'; }
    size_t position() const { return position_; }

    // The word here; the reader stays before it.
    std::optional<line_error> peek(word &into) const;

    // Goes behind the word, or the '>', and the blanks that follow.
    void skip_word();
    void skip_redirection();

    // Everything from here on.
    std::string_view take_rest();

private:
    // Where the word here ends: at its closing quote when it is quoted.
    size_t word_end() const;
    std::optional<line_error> peek_quoted(word &into) const;
    void go_to(size_t position);

    std::string_view line_;
    size_t position_ = 0;
};

} // namespace kiv_shell

#endif
