// Trees for the test of the merge: made by hand, made at random, and a simple model of what they
// say.
#ifndef KIV_TESTS_MERGE_TREES_H
#define KIV_TESTS_MERGE_TREES_H

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <kiv/common.h>

#include "trees.h"

namespace merge_trees {

using trees::put;
using trees::tree;

inline uint16_t add(tree &nodes, size_t owner, std::string_view token,
                    std::string_view function = {})
{
    const auto added = static_cast<uint16_t>(nodes.size());
    nodes.emplace_back();
    put(nodes.back().token, token);
    put(nodes.back().func_id, function);
    put(nodes.back().module_id, "lab");
    nodes.back().action = function.empty() ? 0U : KIV_ACTION_TERMINAL;
    trees::add_child(nodes, owner, added);
    return added;
}

inline uint16_t add_argument(tree &nodes, size_t owner, uint32_t maximum, std::string_view function)
{
    const uint16_t added = add(nodes, owner, {}, function);
    nodes[added].parameter_count = 1;
    nodes[added].parameters[0].type = static_cast<uint32_t>(TYPE_INT);
    nodes[added].parameters[0].maximum = maximum;
    return added;
}

// A tree of one command.
inline tree path(std::initializer_list<std::string_view> words, std::string_view function)
{
    tree nodes = trees::of_nodes(1);
    for (const std::string_view word : words)
        add(nodes, nodes.size() - 1, word);
    put(nodes.back().func_id, function);
    return nodes;
}

inline bool is_link(const kiv_array_tree_node &node, size_t position)
{
    return (node.childlist_mask[position / 8] >> position % 8 & 1) != 0;
}

// What a tree says, as text: by the way to each node what it does, where its links lead, which
// arguments it takes.
struct model {
    std::map<std::string, std::string> handlers; // "" for a way
    std::map<std::string, std::string> targets;  // of a node of its own, the way to it
    std::map<std::string, std::set<std::string>> arguments;
    std::map<std::string, std::set<size_t>> roles;

    friend bool operator==(const model &, const model &) = default;
};

inline std::string key_of(const kiv_array_tree_node &node)
{
    std::string key = node.token;
    for (size_t i = 0; i < node.parameter_count; ++i)
        key += "<" + std::to_string(uint32_t{node.parameters[i].maximum}) + ">";
    return key;
}

inline std::string handler_of(const kiv_array_tree_node &node)
{
    if (node.func_id[0] == '\0' && (node.action & 0xCU) == 0)
        return {};
    return std::string(node.func_id) + '|' + node.module_id + '|' + node.submode_prompt + '|' +
           std::to_string(node.action & 0xCU) + '|' + std::to_string(uint32_t{node.command_id});
}

class modeller {
public:
    explicit modeller(const tree &nodes) : nodes_(nodes)
    {
        find_ways(0, "/");
        describe(0, "/", made_);
    }

    model made() && { return std::move(made_); }
    bool has_one_place_for_each() const { return sound_; }

private:
    void find_ways(size_t node, const std::string &way)
    {
        ways_[node] = way;
        for_each_child(node, [&](size_t child, bool link) {
            if (!link)
                find_ways(child, way + key_of(nodes_[child]) + "/");
        });
    }

    void describe(size_t node, const std::string &way, model &into)
    {
        into.handlers[way] = handler_of(nodes_[node]);
        for (size_t bit = 0; bit < 128; ++bit) {
            if ((nodes_[node].permissions_mask[bit / 8] >> bit % 8 & 1) != 0)
                into.roles[way].insert(bit);
        }
        for_each_child(node, [&](size_t child, bool link) {
            const std::string there = way + key_of(nodes_[child]) + "/";
            if (nodes_[child].parameter_count != 0)
                into.arguments[way].insert(there);
            const std::string target = link ? target_text(child) : there;
            const bool one_target = into.targets.emplace(there, target).first->second == target;
            sound_ = sound_ && one_target && (link || !into.handlers.contains(there));
            if (!link)
                describe(child, there, into);
        });
    }

    // A node that has no way is told by what is in it.
    std::string target_text(size_t node)
    {
        if (ways_.contains(node))
            return ways_[node];
        const auto known = ways_;
        find_ways(node, "apart/");
        model content;
        describe(node, "", content);
        ways_ = known;
        std::string text = "apart " + key_of(nodes_[node]);
        for (const auto &[way, handler] : content.handlers)
            text.append(" [").append(way).append(handler).append("]");
        for (const auto &[way, target] : content.targets)
            text.append(" {").append(way).append(target).append("}");
        return text;
    }

    template <class Visit>
    void for_each_child(size_t node, Visit visit) const
    {
        for (size_t i = 0; i < nodes_[node].child_count; ++i)
            visit(size_t{nodes_[node].children[i]}, is_link(nodes_[node], i));
    }

    const tree &nodes_;
    std::map<size_t, std::string> ways_;
    model made_;
    bool sound_ = true;
};

// Adds a model to another, unless they contradict each other.
inline bool add_model(model &to, const model &added)
{
    model sum = to;
    for (const auto &[way, handler] : added.handlers) {
        std::string &known = sum.handlers[way];
        if (!known.empty() && !handler.empty() && known != handler)
            return false;
        known = known.empty() ? handler : known;
    }
    for (const auto &[way, target] : added.targets) {
        if (sum.targets.emplace(way, target).first->second != target)
            return false;
    }
    for (const auto &[way, keys] : added.arguments) {
        if (sum.arguments.emplace(way, keys).first->second != keys)
            return false;
    }
    for (const auto &[way, bits] : added.roles)
        sum.roles[way].insert(bits.begin(), bits.end());
    to = sum;
    return true;
}

using random_source = std::mt19937;

inline size_t below(random_source &random, size_t limit)
{
    return random() % limit;
}

// Few words, so that trees meet. What a way does follows from its words, but for mistakes, of which
// one in so many nodes has one.
class tree_maker {
public:
    tree_maker(random_source &random, size_t nodes_of_mistake)
        : random_(random), nodes_of_mistake_(nodes_of_mistake)
    {
    }

    tree make()
    {
        nodes_ = trees::of_nodes(1);
        ways_ = {"/"};
        grow(0, 0);
        add_apart();
        for (size_t i = 0, links = below(random_, 3); i < links; ++i)
            add_random_link();
        return shuffled();
    }

private:
    bool mistake() { return nodes_of_mistake_ != 0 && below(random_, nodes_of_mistake_) == 0; }

    void grow(size_t node, size_t depth)
    {
        static constexpr std::string_view words[] = {"a", "A", "bc", "b", "show", "x\xFFy"};
        if (depth == 4)
            return;
        const bool arguments = ways_[node].size() % 3 == 0 && below(random_, 2) != 0;
        for (const std::string_view word : words) {
            if (below(random_, 3) == 0)
                finish(add(nodes_, node, word), node, depth);
            if (mistake() && nodes_[node].child_count > 0)
                finish(add(nodes_, node, word), node, depth);
        }
        for (uint32_t i = 1; arguments && i <= 2; ++i) {
            if (!mistake())
                finish(add_argument(nodes_, node, i, {}), node, depth);
        }
    }

    void finish(uint16_t node, size_t owner, size_t depth)
    {
        ways_.resize(nodes_.size());
        ways_[node] = ways_[owner] + key_of(nodes_[node]) + "/";
        decorate(node, std::hash<std::string>{}(ways_[node]) + mistake());
        grow(node, depth + 1);
    }

    void decorate(uint16_t node, size_t kind)
    {
        kiv_array_tree_node &record = nodes_[node];
        put(record.help, std::string(1, static_cast<char>('a' + below(random_, 4))));
        std::memset(record.help + 2, static_cast<int>(below(random_, 2)), 4);
        record.permissions_mask[below(random_, 16)] = static_cast<uint8_t>(1U << below(random_, 8));
        record.optional = static_cast<uint16_t>(below(random_, 3));
        record.interface_mask = below(random_, 16);
        record.asciigen_priority = static_cast<uint16_t>(below(random_, 3));
        record.reserved[3] = static_cast<uint8_t>(below(random_, 3));
        put(record.module_id, std::to_string(kind % 3 + below(random_, 2)));
        if (kind % 2 == 0 || below(random_, 2) == 0)
            return;
        put(record.func_id, "run_" + std::to_string(kind % 7));
        put(record.module_id, "module_" + std::to_string(kind % 5));
        record.action = KIV_ACTION_TERMINAL | (kind % 3 == 0 ? KIV_ACTION_SUBMODE : 0);
        record.command_id = static_cast<uint32_t>(kind % 4);
    }

    // A link to nodes that only links lead to, the same in every tree.
    void add_apart()
    {
        if (below(random_, 3) == 0)
            return;
        const auto top = static_cast<uint16_t>(nodes_.size());
        tree apart = path({"apart", "inner"}, mistake() ? "other" : "leave");
        add(apart, 1, "another", "leave");
        for (size_t i = 1; i < apart.size(); ++i) {
            for (size_t child = 0; child < apart[i].child_count; ++child)
                apart[i].children[child] =
                    static_cast<uint16_t>(apart[i].children[child] + top - 1);
            nodes_.push_back(apart[i]);
        }
        trees::add_link(nodes_, top, top);
        trees::add_link(nodes_, 0, top);
    }

    // Within one word a link always leads to the same, but for mistakes.
    void add_random_link()
    {
        const size_t from = below(random_, ways_.size());
        const size_t to = below(random_, ways_.size());
        const std::string there = ways_[from] + key_of(nodes_[to]) + "/";
        const bool taken =
            std::ranges::find(ways_, there) != ways_.end() || linked_.contains(there);
        const bool right = ways_[to].size() == 3 && from % 2 == 0;
        if ((right && !taken && nodes_[to].parameter_count == 0) || mistake())
            trees::add_link(nodes_, from, static_cast<uint16_t>(to));
        linked_.insert(there);
    }

    // Nodes and children in any order, the root first.
    tree shuffled()
    {
        std::vector<size_t> places(nodes_.size());
        for (size_t i = 0; i < places.size(); ++i)
            places[i] = i;
        std::shuffle(places.begin() + 1, places.end(), random_);
        return trees::reordered(nodes_, [&](size_t node) { return places[node]; });
    }

    random_source &random_;
    size_t nodes_of_mistake_;
    tree nodes_;
    std::vector<std::string> ways_;
    std::set<std::string> linked_;
};

} // namespace merge_trees

#endif
