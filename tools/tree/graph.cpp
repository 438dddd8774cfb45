#include "tree/graph.h"

#include "support/characters.h"
#include "tree/labels.h"

namespace kiv::tree {

using grammar::field_text;
using grammar::tree_records;

namespace {

constexpr std::string_view head = "digraph tree {\n"
                                  "  rankdir=LR;\n"
                                  "  node [shape=ellipse, fontname=\"sans-serif\"];\n";

// In labels and tooltips a backslash begins an escape, and an ampersand a character of HTML.
std::string quoted(std::string_view text)
{
    std::string result = "\"";
    for (const char c : support::printable(text)) {
        if (c == '&') {
            result += "&amp;";
            continue;
        }
        if (c == '"' || c == '\\')
            result += '\\';
        result += c;
    }
    return result += '"';
}

std::string_view help_of(const tree_records &tree, uint32_t node)
{
    const std::span<const kiv_parameter> parameters = tree.parameters(node);
    return field_text(parameters.empty() ? tree[node].help : parameters.front().help);
}

void append_node(std::string &text, const tree_records &tree, uint32_t node)
{
    const uint32_t action = tree[node].action;
    text += "  n" + std::to_string(node) + " [label=" + quoted(title(tree, node));
    if ((action & KIV_ACTION_TERMINAL) != 0)
        text += ", shape=box";
    if ((action & KIV_ACTION_SUBMODE) != 0)
        text += ", peripheries=2";
    if (const std::string_view help = help_of(tree, node); !help.empty())
        text += ", tooltip=" + quoted(help);
    text += "];\n";
}

void append_edges(std::string &text, const tree_records &tree, uint32_t node)
{
    const std::string owner = "  n" + std::to_string(node) + " -> n";
    tree.for_each_child(node, [&](tree_records::child each) {
        text += owner + std::to_string(each.node);
        text += each.link ? " [style=dashed, constraint=false];\n" : ";\n";
    });
}

} // namespace

std::string dot_graph(const tree_records &tree)
{
    std::string text(head);
    for (uint32_t node = 0; node < tree.size(); ++node)
        append_node(text, tree, node);
    for (uint32_t node = 0; node < tree.size(); ++node)
        append_edges(text, tree, node);
    return text + "}\n";
}

} // namespace kiv::tree
