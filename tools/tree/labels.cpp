#include "tree/labels.h"

#include <unordered_map>

#include "grammar/parameter_types.h"
#include "support/characters.h"

namespace kiv::tree {

using grammar::field_text;
using grammar::root_node;
using grammar::tree_records;

std::string readable(std::string_view text)
{
    const std::string shown = support::printable(text);
    return shown.find(' ') == std::string::npos ? shown : '"' + shown + '"';
}

std::string title(const tree_records &tree, uint32_t node)
{
    const std::span<const kiv_parameter> parameters = tree.parameters(node);
    if (!parameters.empty()) {
        std::string types;
        for (const kiv_parameter &each : parameters)
            types.append(types.empty() ? "<" : "|").append(grammar::parameter_text(each));
        return types + '>';
    }
    const std::string_view token = field_text(tree[node].token);
    if (token.empty())
        return node == root_node ? "(root)" : "(no token)";
    return readable(token);
}

labels::labels(const tree_records &tree) : names_(tree.size()), referred_(tree.size())
{
    std::unordered_map<std::string_view, uint32_t> uses;
    for (uint32_t node = 0; node < tree.size(); ++node) {
        names_[node] = field_text(tree[node].node_name);
        ++uses[names_[node]];
        tree.for_each_child(node, [&](tree_records::child each) {
            if (each.link)
                referred_[each.node] = true;
        });
    }
    const std::vector<uint32_t> owners = tree.owner_counts();
    for (uint32_t node = 0; node < tree.size(); ++node) {
        if (uses[names_[node]] > 1)
            names_[node] = {};
        if (owners[node] > 1)
            referred_[node] = true;
    }
}

std::string labels::reference(uint32_t node) const
{
    return '[' +
           (names_[node].empty() ? '#' + std::to_string(node) : support::printable(names_[node])) +
           ']';
}

std::string labels::mark(uint32_t node) const
{
    return referred_[node] || !names_[node].empty() ? ' ' + reference(node) : std::string();
}

std::vector<uint32_t> unowned_nodes(const tree_records &tree)
{
    const std::vector<uint32_t> owners = tree.owner_counts();
    std::vector<uint32_t> found;
    for (uint32_t node = root_node + 1; node < tree.size(); ++node) {
        if (owners[node] == 0)
            found.push_back(node);
    }
    return found;
}

} // namespace kiv::tree
