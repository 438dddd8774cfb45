// The types of arguments: their words, codes and forms of bounds.
#ifndef GRAMMAR_PARAMETER_TYPES_H
#define GRAMMAR_PARAMETER_TYPES_H

#include <string>

#include <kiv/common.h>

#include "grammar/words.h"

namespace kiv::grammar {

// Reads TYPE [BOUNDS] ["HELP"]. A word in quotes is never bounds.
void read_parameter(word_list &words, kiv_parameter &parameter);

// Whether the type is one of those that the grammar knows.
bool has_type(const kiv_parameter &parameter);

// TYPE, or the number of a type that the grammar does not know; BOUNDS, where there are any; both.
std::string type_text(const kiv_parameter &parameter);
std::string bounds_operand(const kiv_parameter &parameter);
std::string parameter_text(const kiv_parameter &parameter);

} // namespace kiv::grammar

#endif
