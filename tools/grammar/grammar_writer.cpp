#include "grammar/grammar_writer.h"

#include <unordered_map>

#include "grammar/lines.h"
#include "grammar/parameter_types.h"
#include "grammar/properties.h"
#include "support/characters.h"
#include "support/shell_word.h"

namespace kiv::grammar {

namespace {

// A line break would make lines of its own.
std::string_view checked(uint32_t node, std::string_view text)
{
    if (std::string shown = support::printable(text); shown != text)
        throw unwritable{node, "expected text, found \"" + shown + '"'};
    return text;
}

std::string word_operand(uint32_t node, std::string_view text)
{
    return ' ' + support::shell_word(checked(node, text));
}

std::string quoted_operand(uint32_t node, std::string_view text)
{
    return ' ' + support::quoted_word(checked(node, text));
}

std::string help_operand(uint32_t node, std::string_view text)
{
    return text.empty() ? std::string() : quoted_operand(node, text);
}

std::string parameter_operands(uint32_t node, const kiv_parameter &parameter)
{
    if (!has_type(parameter))
        throw unwritable{node, "its type " + parameter_text(parameter) + " has no name"};
    return ' ' + parameter_text(parameter) + help_operand(node, field_text(parameter.help));
}

} // namespace

void grammar_writer::write()
{
    check_places();
    write_root();
    write_top_level();
}

void grammar_writer::check_places()
{
    const std::vector<uint32_t> owners = tree_.owner_counts();
    for (uint32_t node = root_node + 1; node < tree_.size(); ++node) {
        if (owners[node] != 1)
            throw unwritable{node, owners[node] == 0 ? "no node has it for a child"
                                                     : "it is a child in more than one place"};
    }
    check_children(root_node, 0);
}

// The compiler numbers the nodes in the order of their lines.
void grammar_writer::check_children(uint32_t owner, size_t depth)
{
    if (depth == KIV_TREE_MAX_DEPTH)
        return;
    tree_.for_each_child(owner, [&](tree_records::child each) {
        if (each.link)
            return check_link(owner, each.node);
        if (each.node != next_)
            throw unwritable{next_, "it does not stand where its line would be"};
        ++next_;
        check_children(each.node, depth + 1);
    });
}

void grammar_writer::check_link(uint32_t owner, uint32_t target) const
{
    if (target == root_node)
        throw unwritable{owner, "it links to the root"};
    if (field_text(tree_[target].node_name).empty())
        throw unwritable{owner,
                         "it links to node " + std::to_string(target) + ", which has no name"};
}

// The root has a line only where that says something.
void grammar_writer::write_root()
{
    const bool has_module = !module_of(root_node).empty();
    if (has_module)
        set_default_module(root_node);
    add_line(root_node, 0, "root");
    const size_t length = text_.size();
    write_properties(root_node, 1);
    if (text_.size() == length && !has_module) {
        text_.clear();
        line_nodes_.clear();
    }
}

void grammar_writer::write_top_level()
{
    tree_.for_each_child(root_node, [&](tree_records::child each) {
        if (each.link)
            return write_link(root_node, each.node, 0);
        choose_default_module(each.node, end_of_subtree(each.node));
        separate();
        write_node(each.node, 0);
    });
}

// The nodes from a child of the root up to its next one are those below it.
uint32_t grammar_writer::end_of_subtree(uint32_t top) const
{
    uint32_t end = tree_.size();
    tree_.for_each_child(root_node, [&](tree_records::child each) {
        if (!each.link && each.node > top)
            end = std::min(end, each.node);
    });
    return end;
}

// The module that most nodes of these have is worth a line, unless the present one serves as many.
void grammar_writer::choose_default_module(uint32_t first, uint32_t end)
{
    std::unordered_map<std::string_view, uint32_t> counts;
    uint32_t model = first;
    for (uint32_t node = first; node < end; ++node) {
        if (++counts[module_of(node)] > counts[module_of(model)])
            model = node;
    }
    if (counts[module_of(model)] > counts[default_module_])
        set_default_module(model);
}

void grammar_writer::set_default_module(uint32_t model)
{
    separate();
    default_module_ = module_of(model);
    add_line(model, 0, "module" + word_operand(model, default_module_));
    separate();
}

void grammar_writer::write_node(uint32_t node, size_t level)
{
    const kiv_array_tree_node &record = tree_[node];
    const std::span<const kiv_parameter> parameters = tree_.parameters(node);
    if (parameters.empty())
        add_line(node, level,
                 "keyword" + word_operand(node, field_text(record.token)) +
                     help_operand(node, field_text(record.help)));
    else
        add_line(node, level, "argument" + parameter_operands(node, parameters.front()));
    if (parameters.size() > 1)
        add_line(node, level + 1, "or" + parameter_operands(node, parameters.back()));
    write_properties(node, level + 1);
    write_children(node, level + 1);
}

void grammar_writer::write_properties(uint32_t node, size_t level)
{
    const kiv_array_tree_node &record = tree_[node];
    if (const std::string_view name = field_text(record.node_name); !name.empty())
        add_line(node, level, "name" + word_operand(node, name));
    if (const std::string_view module = module_of(node); module != default_module_)
        add_line(node, level, "module" + word_operand(node, module));
    write_command(node, level);
    for (const property &row : properties()) {
        const std::string value = row.value(record);
        if (!value.empty())
            add_line(node, level,
                     std::string(row.word) +
                         (row.form == value_form::text ? word_operand(node, value) : ' ' + value));
    }
}

void grammar_writer::write_command(uint32_t node, size_t level)
{
    const kiv_array_tree_node &record = tree_[node];
    const bool terminal = (record.action & KIV_ACTION_TERMINAL) != 0;
    const std::string_view function = field_text(record.func_id);
    if (!function.empty())
        add_line(node, level, (terminal ? "run" : "handler") + word_operand(node, function));
    else if (terminal)
        add_line(node, level, "terminal");
    if ((record.action & KIV_ACTION_SUBMODE) != 0)
        add_line(node, level,
                 "submode" + quoted_operand(node, field_text(record.submode_prompt)) +
                     help_operand(node, field_text(record.submode_help)));
}

void grammar_writer::write_children(uint32_t owner, size_t level)
{
    if (level == KIV_TREE_MAX_DEPTH)
        return;
    tree_.for_each_child(owner, [&](tree_records::child each) {
        if (each.link)
            write_link(owner, each.node, level);
        else
            write_node(each.node, level);
    });
}

void grammar_writer::write_link(uint32_t owner, uint32_t target, size_t level)
{
    add_line(owner, level, "link" + word_operand(owner, field_text(tree_[target].node_name)));
}

void grammar_writer::add_line(uint32_t node, size_t level, std::string_view words)
{
    text_.append(level * spaces_per_level, ' ').append(words) += '\n';
    line_nodes_.push_back(node);
}

// An empty line, but neither the first one nor two of them.
void grammar_writer::separate()
{
    if (!text_.empty() && !text_.ends_with("\n\n"))
        add_line(root_node, 0, "");
}

} // namespace kiv::grammar
