// What a node holds besides its place, its command and its sub-mode: one row for each statement.
#ifndef GRAMMAR_PROPERTIES_H
#define GRAMMAR_PROPERTIES_H

#include <span>
#include <string>
#include <string_view>

#include <kiv/common.h>

namespace kiv::grammar {

// A text has to be made a word of the line; the others are one or more words as they are.
enum class value_form { text, number, words };

struct property {
    std::string_view word; // of the statement
    value_form form;
    std::string (*value)(const kiv_array_tree_node &record); // empty: as without the statement
};

// In the order in which they are written.
std::span<const property> properties();

} // namespace kiv::grammar

#endif
