#include "tree/outline.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "support/characters.h"
#include "tree/labels.h"

namespace kiv::tree {

using grammar::field_text;
using grammar::root_node;
using grammar::tree_records;

namespace {

constexpr size_t indentation = 2;
constexpr size_t gap = 2;

// A long text moves its own line only.
constexpr size_t widest_title = 44;
constexpr size_t widest_command = 28;

struct row {
    std::string title;
    std::string command;
    std::string help;
};

size_t width(std::string_view text)
{
    return static_cast<size_t>(std::ranges::count_if(
        text, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

void append_padded(std::string &line, std::string_view text, size_t column)
{
    if (text.empty() && column == 0)
        return;
    line += text;
    const size_t used = width(text);
    line.append(used < column ? column - used + gap : gap, ' ');
}

size_t column_width(const std::vector<row> &rows, std::string row::*column, size_t widest)
{
    size_t needed = 0;
    for (const row &each : rows) {
        const size_t used = width(each.*column);
        if (used <= widest)
            needed = std::max(needed, used);
    }
    return needed;
}

std::string text_of(const std::vector<row> &rows)
{
    const size_t titles = column_width(rows, &row::title, widest_title);
    const size_t commands = column_width(rows, &row::command, widest_command);
    std::string text;
    for (const row &each : rows) {
        append_padded(text, each.title, titles);
        append_padded(text, each.command, commands);
        text += each.help;
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

std::string help_of(const tree_records &tree, uint32_t node)
{
    std::string help = support::printable(field_text(tree[node].help));
    for (const kiv_parameter &each : tree.parameters(node)) {
        const std::string_view own = field_text(each.help);
        if (!own.empty())
            help.append(help.empty() ? "" : " | ").append(support::printable(own));
    }
    return help;
}

std::string command_of(const kiv_array_tree_node &record)
{
    const bool terminal = (record.action & KIV_ACTION_TERMINAL) != 0;
    const std::string_view function = field_text(record.func_id);
    if (function.empty())
        return terminal ? "terminal" : "";
    return (terminal ? "run " : "handler ") + readable(function);
}

class outliner {
public:
    explicit outliner(const tree_records &tree) : tree_(tree), labels_(tree), shown_(tree.size()) {}

    std::string run()
    {
        add_root();
        if (const std::vector<uint32_t> others = unowned_nodes(tree_); !others.empty()) {
            rows_.push_back({});
            rows_.push_back({"not below the root:", {}, {}});
            for (const uint32_t node : others)
                add_node(node, 1);
        }
        return text_of(rows_);
    }

private:
    // The root is where every line begins, so it gets one only where it has something to say.
    void add_root()
    {
        shown_[root_node] = true;
        add_rows(root_node, title(tree_, root_node) + labels_.mark(root_node));
        const row &own = rows_.front();
        if (rows_.size() == 1 && (own.command + own.help + labels_.mark(root_node)).empty())
            rows_.clear();
        add_children(root_node, 0);
    }

    void add_node(uint32_t node, size_t level)
    {
        const std::string begin =
            std::string(level * indentation, ' ') + title(tree_, node) + labels_.mark(node);
        if (shown_[node]) {
            rows_.push_back({begin + " as above", {}, {}});
            return;
        }
        shown_[node] = true;
        add_rows(node, begin);
        add_children(node, level + 1);
    }

    void add_rows(uint32_t node, std::string begin)
    {
        const kiv_array_tree_node &record = tree_[node];
        rows_.push_back({std::move(begin), command_of(record), help_of(tree_, node)});
        if ((record.action & KIV_ACTION_SUBMODE) == 0)
            return;
        const std::string prompt = support::printable(field_text(record.submode_prompt));
        rows_.push_back(
            {{}, "submode \"" + prompt + '"', support::printable(field_text(record.submode_help))});
    }

    void add_children(uint32_t owner, size_t level)
    {
        if (level > KIV_TREE_MAX_DEPTH)
            return;
        tree_.for_each_child(owner, [&](tree_records::child each) {
            if (each.link)
                rows_.push_back(
                    {std::string(level * indentation, ' ') + "-> " + labels_.reference(each.node),
                     {},
                     help_of(tree_, each.node)});
            else
                add_node(each.node, level);
        });
    }

    const tree_records &tree_;
    labels labels_;
    std::vector<bool> shown_;
    std::vector<row> rows_;
};

} // namespace

std::string outline(const tree_records &tree)
{
    return outliner(tree).run();
}

} // namespace kiv::tree
