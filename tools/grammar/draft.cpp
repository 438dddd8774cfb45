#include "grammar/draft.h"

#include <algorithm>
#include <utility>

#include <kiv/extras.h>

#include "grammar/refusal.h"
#include "grammar/roles.h"

namespace kiv::grammar {

namespace {

kiv_array_tree_node new_record()
{
    kiv_array_tree_node record{};
    allow_every_role(record.permissions_mask);
    return record;
}

void mark_link(kiv_array_tree_node &record, size_t child)
{
    uint8_t &byte = record.childlist_mask[child / 8];
    byte = static_cast<uint8_t>(byte | 1U << child % 8);
}

std::string on_line(size_t line)
{
    return "on line " + std::to_string(line);
}

} // namespace

draft::draft() : records_{new_record()}, nodes_(1)
{
    nodes_[root_node].line = 1;
}

uint32_t draft::add_node(uint32_t owner, size_t line)
{
    if (records_.size() == KIV_TREE_MAX_NODES) {
        overfull_ = true;
        refuse("expected at most " + std::to_string(KIV_TREE_MAX_NODES) +
               " nodes with the root, found one more");
    }
    const uint32_t added = static_cast<uint32_t>(records_.size());
    records_.push_back(new_record());
    nodes_.emplace_back().line = line;
    add_child(owner, {line, added, {}});
    return added;
}

void draft::add_link(uint32_t owner, size_t line, std::string_view name)
{
    add_child(owner, {line, root_node, std::string(name)});
}

// One child too many is enough to report it.
void draft::add_child(uint32_t owner, child added)
{
    std::vector<child> &children = nodes_[owner].children;
    if (children.size() <= KIV_NODE_MAX_CHILDREN)
        children.push_back(std::move(added));
}

void draft::add_property(uint32_t which, const statement &added, size_t line)
{
    if (const property *other = find_property(which, added.field); other != nullptr)
        refuse("expected the " + std::string(added.field) + " of a node once, found it " +
               on_line(other->line) + " (" + quoted(other->word) + ") too");
    nodes_[which].properties.push_back({added.field, added.word, line});
}

result draft::finish(diagnostics errors)
{
    collect_names(errors);
    for (uint32_t i = 0; i < nodes_.size(); ++i) {
        check_end(i, errors);
        attach_children(i, errors);
        complete_message_type(i);
    }
    if (errors.empty())
        check_soundness(errors);
    if (!errors.empty())
        return {{}, errors.take()};
    return {std::move(records_), {}};
}

void draft::complete_message_type(uint32_t which)
{
    kiv_array_tree_node &record = records_[which];
    const bool is_served = record.func_id[0] != '\0' || record.subtree_config_generator[0] != '\0';
    if (is_served && find_property(which, message_type_field) == nullptr)
        record.cmi_msg_type = nodes_[which].default_message_type;
}

void draft::collect_names(diagnostics &errors)
{
    for (uint32_t i = 0; i < nodes_.size(); ++i) {
        const property *line = find_property(i, node_name_field);
        if (line == nullptr)
            continue;
        const std::string_view name = records_[i].node_name;
        if (name.empty()) {
            doubt_names();
            continue;
        }
        const auto [other, added] = names_.emplace(name, i);
        if (!added)
            errors.add(line->line,
                       "expected a name of its own for every node, found " + quoted(name) + ' ' +
                           on_line(find_property(other->second, node_name_field)->line) + " too");
    }
}

bool draft::resolve(child &which, diagnostics &errors) const
{
    if (which.link.empty())
        return true;
    const auto found = names_.find(which.link);
    if (found == names_.end()) {
        if (names_complete_)
            errors.add(which.line,
                       "expected the name of a node, found no node named " + quoted(which.link));
        return false;
    }
    which.node = found->second;
    if (which.node == root_node)
        errors.add(which.line, "expected a link to a keyword or an argument, found the root");
    return which.node != root_node;
}

void draft::attach_children(uint32_t owner, diagnostics &errors)
{
    std::vector<child> &children = nodes_[owner].children;
    if (children.size() > KIV_NODE_MAX_CHILDREN) {
        errors.add(children[KIV_NODE_MAX_CHILDREN].line, "expected at most " +
                                                             std::to_string(KIV_NODE_MAX_CHILDREN) +
                                                             " children of a node, found one more");
        children.resize(KIV_NODE_MAX_CHILDREN);
    }
    std::erase_if(children, [&](child &each) { return !resolve(each, errors); });
    kiv_array_tree_node &record = records_[owner];
    record.child_count = static_cast<uint16_t>(children.size());
    for (size_t i = 0; i < children.size(); ++i) {
        record.children[i] = static_cast<uint16_t>(children[i].node);
        if (!children[i].link.empty())
            mark_link(record, i);
    }
    check_siblings(owner, errors);
}

void draft::check_siblings(uint32_t owner, diagnostics &errors) const
{
    const std::vector<child> &children = nodes_[owner].children;
    for (auto later = children.begin(); later != children.end(); ++later) {
        const std::string_view token = records_[later->node].token;
        const auto earlier = std::find_if(children.begin(), later, [&](const child &other) {
            return other.node == later->node ||
                   (!token.empty() && token == records_[other.node].token);
        });
        if (earlier == later)
            continue;
        const std::string wanted = token.empty()
                                       ? "different siblings, found the same one"
                                       : "siblings with different tokens, found " + quoted(token);
        errors.add(later->line, "expected " + wanted + ' ' + on_line(earlier->line) + " too");
    }
}

void draft::check_end(uint32_t which, diagnostics &errors) const
{
    const node_lines &checked = nodes_[which];
    if (checked.doubtful || (records_[which].action & KIV_ACTION_TERMINAL) != 0)
        return;
    const property *submode = find_property(which, submode_field);
    if (checked.children.empty() && which == root_node)
        errors.add(checked.line, "expected a keyword or an argument, found none");
    else if (checked.children.empty())
        errors.add(checked.line,
                   "expected \"run\", \"terminal\" or a node below this one, found none of them");
    else if (submode != nullptr && which != root_node)
        errors.add(submode->line,
                   "expected \"run\" or \"terminal\" beside \"submode\", found neither");
}

void draft::check_soundness(diagnostics &errors) const
{
    kiv_tree_check_result found;
    const size_t size = records_.size() * sizeof(kiv_array_tree_node);
    if (kiv_tree_check(records_.data(), size, &found) != 0)
        errors.add(nodes_[found.node].line,
                   std::string("internal error: ") + kiv_tree_fault_text(found.fault));
}

const draft::property *draft::find_property(uint32_t which, std::string_view field) const
{
    const std::vector<property> &properties = nodes_[which].properties;
    const auto found = std::ranges::find(properties, field, &property::field);
    return found == properties.end() ? nullptr : &*found;
}

} // namespace kiv::grammar
