#include "rights.h"

#include <array>
#include <utility>

#include "handlers.h"

namespace kiv_shell {

namespace {

using kiv::roles::action;
using kiv::roles::decision;

constexpr std::array typed_words{
    std::pair<std::string_view, kivd_command_type>{"clear", KIVD_COMMAND_CLEAR},
    std::pair<std::string_view, kivd_command_type>{"configure", KIVD_COMMAND_CONFIG},
    std::pair<std::string_view, kivd_command_type>{"debug", KIVD_COMMAND_DEBUG},
    std::pair<std::string_view, kivd_command_type>{"show", KIVD_COMMAND_SHOW},
};

std::string_view word_at(const command &parsed, size_t position)
{
    return position < parsed.words.size() ? std::string_view(parsed.words[position].value)
                                          : std::string_view();
}

bool is_granted(const kiv_array_tree_node &node, int32_t role)
{
    const auto bit = static_cast<size_t>(role);
    return (node.permissions_mask[bit / 8] >> bit % 8 & 1) != 0;
}

} // namespace

action action_of(const command &parsed, bool configures)
{
    if (configures)
        return {KIVD_COMMAND_CONFIG, word_at(parsed, word_at(parsed, 0) == "no" ? 1 : 0)};
    for (const auto &[word, type] : typed_words) {
        if (word == word_at(parsed, 0))
            return {type, word_at(parsed, 1)};
    }
    return {KIVD_COMMAND_EXEC, word_at(parsed, 0)};
}

rights::rights(std::vector<std::string> names, std::vector<kivd_perm_group> configured,
               const tree_view &tree)
    : names_(std::move(names)), configured_(std::move(configured)), tree_(tree)
{
    if (const auto mode = tree.mode_of_function(configure_function))
        way_to_configuration_ = tree.way_to(*mode);
}

decision rights::of_predefined(const std::string &name, int32_t number, const command &parsed,
                               bool configures) const
{
    std::vector<node_index> way = configures ? way_to_configuration_ : std::vector<node_index>();
    for (const matched_word &word : parsed.words)
        way.push_back(word.node);
    for (const node_index node : way) {
        if (!is_granted(tree_.node(node), number))
            return {false, name, 0,
                    "the tree does not grant \"" + printable(tree_.token(node)) + "\" to role " +
                        name};
    }
    return {true, name, 0, "the tree grants the command to role " + name};
}

decision rights::of_role(const std::string &name, const command &parsed, bool configures) const
{
    const int32_t number = kivd_static_perm_group_locate_entry_by_name(
        kivd_static_perm_group_table, kivd_static_perm_group_table_size, name.c_str());
    if (number >= 0)
        return of_predefined(name, number, parsed, configures);
    const int32_t index = kivd_perm_group_locate_entry_by_name(
        configured_.data(), static_cast<int32_t>(configured_.size()), name.c_str());
    if (index < 0)
        return {false, name, 0, "there is no role " + name};
    const kivd_perm_group &role = configured_[static_cast<size_t>(index)];
    // Configuration mode is for whoever may configure anything.
    if (tree_.function(parsed.node) == configure_function)
        return kiv::roles::decide(role, {KIVD_COMMAND_CONFIG, {}, true});
    return decide(role, action_of(parsed, configures));
}

decision rights::may_run(const command &parsed, bool configures) const
{
    const handler *found = find_handler(tree_, parsed.node);
    if (found != nullptr && found->after != mode_change::none)
        return {true, "", 0, "everybody may leave a mode"};
    decision last{false, "", 0, "the user has no role"};
    for (const std::string &name : names_) {
        last = of_role(name, parsed, configures);
        if (last.permitted)
            break;
    }
    return last;
}

} // namespace kiv_shell
