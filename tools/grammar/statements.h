// The statements of the grammar, as one table.
#ifndef GRAMMAR_STATEMENTS_H
#define GRAMMAR_STATEMENTS_H

#include <array>
#include <cstdint>
#include <string_view>

#include <kiv/common.h>

#include "grammar/words.h"

namespace kiv::grammar {

// Where a statement may stand; one bit each.
enum place : uint8_t {
    nowhere = 0,
    top_level = 1, // without indentation
    below_root = 2,
    below_keyword = 4,
    below_argument = 8,
};

// What a statement makes.
enum class effect { keyword, argument, link, root, default_module, default_message_type, property };

// Reads what belongs to one operand from the line into the record.
struct operand {
    std::string_view name;
    void (*read)(word_list &words, std::string_view name, kiv_array_tree_node &record);
};

// The fields that some statements set.
inline constexpr std::string_view node_name_field = "node name";
inline constexpr std::string_view submode_field = "sub-mode";
inline constexpr std::string_view message_type_field = "message type";

struct statement {
    std::string_view word;
    effect what;
    uint8_t places;
    std::string_view field; // a property's: what it sets of the node, at most once
    uint32_t action;        // the bits it adds to the action word
    std::array<operand, 2> operands;
};

// The statement that `text` begins at `here`. Refuses a word that begins none there.
const statement &find_statement(std::string_view text, place here);

// Reads the operands of the statement, to the end of the line, into the record.
void apply(const statement &what, word_list &words, kiv_array_tree_node &record);

} // namespace kiv::grammar

#endif
