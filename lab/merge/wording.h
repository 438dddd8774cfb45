// What a report says about nodes. Texts of trees are made printable.
#ifndef LAB_MERGE_WORDING_H
#define LAB_MERGE_WORDING_H

#include <cstdint>
#include <string>
#include <string_view>

#include "grammar/tree_records.h"
#include "survey.h"

namespace kiv::merge {

// The words that lead to a node: "show vsan <argument>" in quotes, or: the root.
std::string words_to(const grammar::tree_records &tree, const survey &known, uint32_t node);

std::string handler_text(const kiv_array_tree_node &node);
std::string generator_text(const kiv_array_tree_node &node);
std::string in_tree(std::string_view name);

} // namespace kiv::merge

#endif
