#include "wording.h"

#include <algorithm>
#include <vector>

#include "index_table.h"
#include "node_key.h"
#include "support/characters.h"

namespace kiv::merge {

using grammar::field_text;
using grammar::root_node;
using support::printable;

namespace {

std::string word_of(const kiv_array_tree_node &node)
{
    return is_argument(node) ? "<argument>" : printable(field_text(node.token));
}

} // namespace

std::string words_to(const grammar::tree_records &tree, const survey &known, uint32_t node)
{
    if (node == root_node)
        return "the root";
    std::vector<uint32_t> way;
    for (; node != nowhere && node != root_node; node = known.owners[node])
        way.push_back(node);
    std::string words = "\"";
    for (auto each = way.rbegin(); each != way.rend(); ++each)
        words += (each == way.rbegin() ? "" : " ") + word_of(tree[*each]);
    return words + '"';
}

std::string handler_text(const kiv_array_tree_node &node)
{
    const std::string function = printable(field_text(node.func_id));
    const std::string module = printable(field_text(node.module_id));
    return (function.empty() ? "(no function)" : function) +
           (module.empty() ? "" : " of module " + module);
}

std::string generator_text(const kiv_array_tree_node &node)
{
    return printable(field_text(node.subtree_config_generator)) + " with priority " +
           std::to_string(uint32_t{node.asciigen_priority});
}

std::string in_tree(std::string_view name)
{
    return name.empty() ? "in another tree" : "in tree \"" + printable(name) + '"';
}

} // namespace kiv::merge
