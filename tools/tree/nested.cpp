#include "tree/nested.h"

#include <vector>

#include "grammar/parameter_types.h"
#include "grammar/properties.h"
#include "tree/json.h"
#include "tree/labels.h"

namespace kiv::tree {

using grammar::field_text;
using grammar::root_node;
using grammar::tree_records;

namespace {

std::string arguments_json(std::span<const kiv_parameter> parameters)
{
    std::string list;
    for (const kiv_parameter &each : parameters) {
        json_object argument;
        argument.add_text("type", grammar::type_text(each))
            .add_if_set("bounds", grammar::bounds_operand(each))
            .add_if_set("help", field_text(each.help));
        list.append(list.empty() ? "" : ", ").append(argument.text());
    }
    return '[' + list + ']';
}

std::string submode_json(const kiv_array_tree_node &record)
{
    return json_object()
        .add_text("prompt", field_text(record.submode_prompt))
        .add_if_set("help", field_text(record.submode_help))
        .text();
}

void add_properties(json_object &to, const kiv_array_tree_node &record)
{
    for (const grammar::property &row : grammar::properties()) {
        const std::string value = row.value(record);
        if (row.form == grammar::value_form::number && !value.empty())
            to.add(row.word, value);
        else
            to.add_if_set(row.word, value);
    }
}

json_object members(const tree_records &tree, uint32_t node)
{
    const kiv_array_tree_node &record = tree[node];
    json_object object;
    object.add_number("node", node)
        .add_if_set("name", field_text(record.node_name))
        .add_if_set("keyword", field_text(record.token));
    if (!tree.parameters(node).empty())
        object.add("arguments", arguments_json(tree.parameters(node)));
    object.add_if_set("help", field_text(record.help))
        .add_if_set("module", field_text(record.module_id))
        .add_if_set("function", field_text(record.func_id));
    if ((record.action & KIV_ACTION_TERMINAL) != 0)
        object.add_flag("terminal", true);
    if ((record.action & KIV_ACTION_SUBMODE) != 0)
        object.add("submode", submode_json(record));
    add_properties(object, record);
    return object;
}

class nester {
public:
    explicit nester(const tree_records &tree) : tree_(tree), labels_(tree), shown_(tree.size()) {}

    std::string run()
    {
        text_ = "{\"nodes\": " + std::to_string(tree_.size()) + ",\n\"root\": ";
        add_node(root_node, 0);
        text_ += ",\n\"not_below_root\": [";
        const char *before = "\n  ";
        for (const uint32_t node : unowned_nodes(tree_)) {
            text_ += before;
            add_node(node, 1);
            before = ",\n  ";
        }
        return std::move(text_) + "]}\n";
    }

private:
    void add_node(uint32_t node, size_t level)
    {
        if (shown_[node]) {
            text_ += json_object().add_number("node", node).add_flag("above", true).text();
            return;
        }
        shown_[node] = true;
        text_ += members(tree_, node).text();
        if (tree_.child_count(node) == 0 || level > KIV_TREE_MAX_DEPTH)
            return;
        text_.back() = ',';
        text_ += " \"children\": [";
        add_children(node, level + 1);
        text_ += "]}";
    }

    void add_children(uint32_t owner, size_t level)
    {
        const std::string line = '\n' + std::string(2 * level, ' ');
        std::string before = line;
        tree_.for_each_child(owner, [&](tree_records::child each) {
            text_ += before;
            before = ',' + line;
            if (each.link)
                add_link(each.node);
            else
                add_node(each.node, level);
        });
    }

    void add_link(uint32_t target)
    {
        const std::string_view name = labels_.name(target);
        json_object link;
        if (name.empty())
            link.add("link", "null");
        else
            link.add_text("link", name);
        text_ += link.add_number("node", target).text();
    }

    const tree_records &tree_;
    labels labels_;
    std::vector<bool> shown_;
    std::string text_;
};

} // namespace

std::string nested_json(const tree_records &tree)
{
    return nester(tree).run();
}

} // namespace kiv::tree
