// Texts on their way into the character arrays of a record.
#ifndef GRAMMAR_FIELDS_H
#define GRAMMAR_FIELDS_H

#include <span>
#include <string_view>

#include "grammar/words.h"

namespace kiv::grammar {

// Stores a text, with NULs up to the end of the field. Refuses one that does not fit with its NUL.
void store_text(std::span<char> field, std::string_view text, std::string_view name);

// Reads ["HELP"]. Refuses a word that is not in quotes.
void read_help(word_list &words, std::span<char> field);

} // namespace kiv::grammar

#endif
