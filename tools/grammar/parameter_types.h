// The types of arguments: their words, codes and forms of bounds.
#ifndef GRAMMAR_PARAMETER_TYPES_H
#define GRAMMAR_PARAMETER_TYPES_H

#include <cstdint>
#include <string_view>

#include <kiv/common.h>

#include "grammar/words.h"

namespace kiv::grammar {

// Reads TYPE [BOUNDS] ["HELP"]. A word in quotes is never bounds.
void read_parameter(word_list &words, kiv_parameter &parameter);

// The word of a type code, or nothing.
std::string_view type_word(uint32_t code);

} // namespace kiv::grammar

#endif
