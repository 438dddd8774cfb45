#include "free_trees.h"

#include <algorithm>

#include "index_table.h"
#include "node_key.h"

namespace kiv::merge {

using grammar::tree_records;

namespace {

std::vector<uint32_t> owned_nodes(const tree_records &tree, uint32_t root)
{
    std::vector<uint32_t> nodes;
    std::vector<uint32_t> waiting{root};
    while (!waiting.empty()) {
        const uint32_t node = waiting.back();
        waiting.pop_back();
        nodes.push_back(node);
        const auto first_child = static_cast<ptrdiff_t>(waiting.size());
        tree.for_each_child(node, [&](tree_records::child each) {
            if (!each.link)
                waiting.push_back(each.node);
        });
        std::sort(waiting.begin() + first_child, waiting.end(),
                  [&](uint32_t a, uint32_t b) { return goes_before(tree[b], tree[a]); });
    }
    return nodes;
}

class finder {
public:
    finder(const tree_records &tree, const survey &known) : tree_(tree), tree_of_(tree.size())
    {
        std::ranges::fill(tree_of_, nowhere);
        for (const uint32_t root : known.free_roots)
            add_tree(root);
        for (free_tree &each : trees_)
            find_links(each);
    }

    free_trees in_order()
    {
        states_.assign(trees_.size(), state::fresh);
        free_trees ordered;
        for (uint32_t start = 0; start < trees_.size(); ++start) {
            if (states_[start] == state::fresh && !visit(start, ordered))
                break;
        }
        return ordered;
    }

private:
    enum class state : uint8_t { fresh, open, done };

    struct step {
        uint32_t tree;
        size_t next_link;
    };

    void add_tree(uint32_t root)
    {
        const auto number = static_cast<uint32_t>(trees_.size());
        trees_.push_back({owned_nodes(tree_, root), {}});
        for (const uint32_t node : trees_.back().nodes)
            tree_of_[node] = number;
    }

    void find_links(free_tree &from)
    {
        const uint32_t own = tree_of_[from.nodes.front()];
        for (const uint32_t node : from.nodes)
            tree_.for_each_child(node, [&](tree_records::child each) {
                const uint32_t target = tree_of_[each.node];
                if (each.link && target != nowhere && target != own)
                    from.links_to.push_back(target);
            });
    }

    // Without recursion: links make chains of any length.
    bool visit(uint32_t start, free_trees &ordered)
    {
        std::vector<step> path;
        enter(start, path);
        while (!path.empty()) {
            step &top = path.back();
            free_tree &tree = trees_[top.tree];
            if (top.next_link == tree.links_to.size()) {
                states_[top.tree] = state::done;
                ordered.trees.push_back(std::move(tree));
                path.pop_back();
                continue;
            }
            const uint32_t target = tree.links_to[top.next_link++];
            if (states_[target] == state::open) {
                ordered.in_circle = trees_[target].nodes.front();
                return false;
            }
            if (states_[target] == state::fresh)
                enter(target, path);
        }
        return true;
    }

    void enter(uint32_t tree, std::vector<step> &path)
    {
        states_[tree] = state::open;
        path.push_back({tree, 0});
    }

    const tree_records &tree_;
    std::vector<uint32_t> tree_of_; // of each node, or nowhere
    std::vector<free_tree> trees_;
    std::vector<state> states_;
};

} // namespace

free_trees find_free_trees(const tree_records &tree, const survey &known)
{
    if (known.free_roots.empty())
        return {};
    return finder(tree, known).in_order();
}

} // namespace kiv::merge
