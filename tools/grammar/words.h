#ifndef GRAMMAR_WORDS_H
#define GRAMMAR_WORDS_H

#include <string>
#include <string_view>
#include <vector>

namespace kiv::grammar {

struct word {
    std::string text;
    bool quoted;
};

// The words of one statement, read from left to right.
class word_list {
public:
    // Splits a line that is not blank. Refuses what is not printable UTF-8 text, quotes that are
    // not closed or not at the ends of a word, and escapes other than \" and \\.
    explicit word_list(std::string_view body);

    // The next word, or null at the end of the line.
    const word *peek() const;
    void skip() { ++next_; }

    // Takes the next word. Refuses the end of the line, where `name` was expected.
    const word &take(std::string_view name);

    // Refuses any word that is left.
    void expect_end() const;

private:
    std::vector<word> words_;
    size_t next_ = 0;
};

} // namespace kiv::grammar

#endif
