#include "tree/figures.h"

#include <algorithm>
#include <array>
#include <vector>

#include "tree/json.h"
#include "tree/labels.h"

namespace kiv::tree {

using grammar::root_node;
using grammar::tree_records;

namespace {

struct figure_row {
    std::string_view label;
    std::string_view key;
    uint64_t figures::*value;
};

constexpr std::array rows{
    figure_row{"nodes", "nodes", &figures::nodes},
    figure_row{"commands", "commands", &figures::commands},
    figure_row{"levels", "levels", &figures::levels},
    figure_row{"most children", "most_children", &figures::most_children},
    figure_row{"of node", "widest_node", &figures::widest_node},
    figure_row{"links", "links", &figures::links},
    figure_row{"shared nodes", "shared", &figures::shared},
    figure_row{"unreachable", "unreachable", &figures::unreachable},
    figure_row{"bytes", "bytes", &figures::bytes},
};

constexpr size_t label_width = 15;

// How many levels every node reaches down, its own among them; each node is measured once.
class level_meter {
public:
    explicit level_meter(const tree_records &tree) : tree_(tree), levels_(tree.size()) {}

    uint8_t measure(uint32_t node, size_t depth)
    {
        if (levels_[node] != 0 || depth == KIV_TREE_MAX_DEPTH)
            return levels_[node];
        uint8_t below = 0;
        tree_.for_each_child(node, [&](tree_records::child each) {
            if (!each.link)
                below = std::max(below, measure(each.node, depth + 1));
        });
        return levels_[node] = static_cast<uint8_t>(below + 1);
    }

private:
    const tree_records &tree_;
    std::vector<uint8_t> levels_;
};

// How many lines the dump of every node has, its own among them; each node is measured once.
class line_counter {
public:
    explicit line_counter(const tree_records &tree) : tree_(tree), lines_(tree.size()) {}

    uint64_t count(uint32_t node, size_t depth)
    {
        if (lines_[node] != 0 || depth == KIV_TREE_MAX_DEPTH)
            return lines_[node];
        uint64_t lines = 1;
        tree_.for_each_child(node, [&](tree_records::child each) {
            lines += each.link ? 1 : count(each.node, depth + 1);
        });
        return lines_[node] = std::min<uint64_t>(lines, UINT32_MAX);
    }

private:
    const tree_records &tree_;
    std::vector<uint64_t> lines_;
};

uint64_t count_reachable(const tree_records &tree)
{
    std::vector<bool> reached(tree.size());
    std::vector<uint32_t> found{root_node};
    reached[root_node] = true;
    for (size_t next = 0; next < found.size(); ++next) {
        tree.for_each_child(found[next], [&](tree_records::child each) {
            if (!reached[each.node])
                found.push_back(each.node);
            reached[each.node] = true;
        });
    }
    return found.size();
}

void count_node(figures &counted, const tree_records &tree, uint32_t node)
{
    const uint64_t children = tree.child_count(node);
    if (children > counted.most_children) {
        counted.most_children = children;
        counted.widest_node = node;
    }
    if ((tree[node].action & KIV_ACTION_TERMINAL) != 0)
        ++counted.commands;
    tree.for_each_child(node, [&](tree_records::child each) { counted.links += each.link; });
}

} // namespace

figures measure(const tree_records &tree)
{
    figures counted;
    counted.nodes = tree.size();
    counted.bytes = tree.nodes().size_bytes();
    for (uint32_t node = 0; node < tree.size(); ++node)
        count_node(counted, tree, node);
    counted.levels = level_meter(tree).measure(root_node, 0);
    const std::vector<uint32_t> references = tree.reference_counts();
    counted.shared = static_cast<uint64_t>(
        std::ranges::count_if(references, [](uint32_t count) { return count > 1; }));
    counted.unreachable = tree.size() - count_reachable(tree);
    return counted;
}

uint64_t dumped_lines(const tree_records &tree)
{
    return line_counter(tree).count(root_node, 0);
}

std::string figures_text(const figures &measured, const tree_records &tree)
{
    std::string text;
    for (const figure_row &row : rows) {
        std::string label(row.label);
        label.resize(label_width, ' ');
        text += label + std::to_string(measured.*row.value);
        if (row.value == &figures::widest_node)
            text += ' ' + title(tree, static_cast<uint32_t>(measured.widest_node));
        text += '\n';
    }
    return text;
}

std::string figures_json(const figures &measured)
{
    json_object object;
    for (const figure_row &row : rows)
        object.add_number(row.key, measured.*row.value);
    return object.text() + '\n';
}

} // namespace kiv::tree
