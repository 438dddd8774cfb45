#include "grammar/listing.h"

#include <array>
#include <charconv>

#include "grammar/parameter_types.h"
#include "support/characters.h"

namespace kiv::grammar {

namespace {

std::string hexadecimal_text(uint32_t value)
{
    std::array<char, 8> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
    return "0x" + std::string(digits.data(), end);
}

std::string type_text(uint32_t code)
{
    const std::string_view word = type_word(code);
    return word.empty() ? hexadecimal_text(code) : std::string(word);
}

std::string parameters_text(const kiv_array_tree_node &node)
{
    std::string text;
    for (uint16_t i = 0; i < node.parameter_count; ++i)
        text += (i == 0 ? "<" : "|") + type_text(node.parameters[i].type);
    return text + '>';
}

std::string title(const kiv_array_tree_node &node)
{
    if (node.parameter_count > 0)
        return parameters_text(node);
    return node.token[0] == '\0' ? "-" : support::printable(node.token);
}

void append_action(std::string &line, uint32_t action)
{
    if ((action & KIV_ACTION_TERMINAL) != 0)
        line += " terminal";
    if ((action & KIV_ACTION_SUBMODE) != 0)
        line += " submode";
    const uint32_t further = action & ~(KIV_ACTION_TERMINAL | KIV_ACTION_SUBMODE);
    if (further != 0)
        line += " action " + hexadecimal_text(further);
}

bool is_link(const kiv_array_tree_node &node, uint32_t child)
{
    return (node.childlist_mask[child / 8] >> child % 8 & 1) != 0;
}

void append_children(std::string &line, const kiv_array_tree_node &node)
{
    if (node.child_count == 0)
        return;
    line += " children";
    for (uint32_t i = 0; i < node.child_count; ++i)
        line += (is_link(node, i) ? " link:" : " ") + std::to_string(node.children[i]);
}

void append_node(std::string &text, size_t index, const kiv_array_tree_node &node)
{
    text += std::to_string(index) + ' ' + title(node);
    append_action(text, node.action);
    if (node.func_id[0] != '\0')
        text += " function " + support::printable(node.func_id);
    append_children(text, node);
    text += '\n';
}

} // namespace

std::string list_nodes(std::span<const kiv_array_tree_node> nodes)
{
    std::string text;
    for (size_t i = 0; i < nodes.size(); ++i)
        append_node(text, i, nodes[i]);
    return text;
}

} // namespace kiv::grammar
