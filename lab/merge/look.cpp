#include "look.h"

#include <algorithm>
#include <cstring>

#include <kiv/extras.h>

#include "free_trees.h"
#include "grammar/tree_records.h"
#include "shared_node.h"
#include "wording.h"

namespace kiv::merge {

using grammar::root_node;
using grammar::tree_records;

namespace {

struct child {
    uint32_t node;
    uint32_t key;
    uint32_t id;
    bool link;
};

// Of a free tree: its children, and all that makes it what it is, in bytes.
struct free_content {
    std::string bytes;
    std::vector<reference> children;
};

template <class Value>
void append(std::string &bytes, const Value &value)
{
    bytes.append(reinterpret_cast<const char *>(&value), sizeof value);
}

class look {
public:
    look(std::span<const contribution> trees, size_t number, const places &so_far,
         key_numbers &keys)
        : trees_(trees), number_(static_cast<uint32_t>(number)), tree_(trees[number].nodes),
          so_far_(so_far), keys_(keys), known_(look_around(tree_)), ids_(tree_.size(), nowhere),
          node_keys_(tree_.size())
    {
    }

    plan run()
    {
        if (has_one_place_for_each()) {
            for (const uint32_t node : known_.below_root)
                compare_children(node);
            check_size();
        }
        return std::move(plan_);
    }

private:
    bool is_new(uint32_t id) const { return id >= so_far_.size(); }
    uint32_t next_id() const
    {
        return so_far_.size() + static_cast<uint32_t>(plan_.new_places.size());
    }

    // Finds the places of the nodes; false where the contribution itself has none for one.
    bool has_one_place_for_each()
    {
        for (const uint32_t node : known_.several_owners)
            report(node, [&] {
                return node == root_node ? "a node owns it" : "a node with several owners";
            });
        if (!known_.several_owners.empty())
            return false;
        place_below_root();
        return place_free_trees();
    }

    uint32_t add_place(uint32_t node, uint32_t owner)
    {
        const uint32_t id = next_id();
        plan_.new_places.push_back({node, owner});
        return id;
    }

    void place_below_root()
    {
        place_root();
        for (const uint32_t node : std::span(known_.below_root).subspan(1)) {
            node_keys_[node] = keys_.number_of(tree_[node]);
            ids_[node] = place_of(node, ids_[known_.owners[node]]);
        }
    }

    void place_root()
    {
        node_keys_[root_node] = keys_.number_of(tree_[root_node]);
        if (so_far_.size() == 0) {
            ids_[root_node] = add_place(root_node, nowhere);
            return;
        }
        ids_[root_node] = root_node;
        share(root_node, root_node);
        if (!same_key(tree_[root_node], *so_far_[root_node].record))
            report(root_node, [] { return "another token or other parameters than elsewhere"; });
    }

    uint32_t place_of(uint32_t node, uint32_t owner)
    {
        const reference *there = is_new(owner) ? nullptr : so_far_.find(owner, node_keys_[node]);
        if (there == nullptr)
            return add_place(node, owner);
        if (there->link) {
            report(node, [&] { return "a node of its own, but a link " + in(there->tree); });
            return add_place(node, owner);
        }
        share(node, there->target);
        return there->target;
    }

    void share(uint32_t node, uint32_t id)
    {
        plan_.shared_places.push_back({node, id});
        const place &there = so_far_[id];
        if (has_handler(tree_[node]) && has_handler(*there.record))
            compare_handlers(node, there);
        if (has_generator(tree_[node]) && has_generator(*there.record) &&
            !same_generator(tree_[node], *there.record))
            report(node, [&] {
                return "configuration generator " + generator_text(tree_[node]) + ", but " +
                       generator_text(*there.record) + ' ' + in(there.generator_tree);
            });
    }

    void compare_handlers(uint32_t node, const place &there)
    {
        const char *difference = difference_of_handlers(tree_[node], *there.record);
        if (difference == nullptr)
            return;
        report(node, [&] {
            const std::string here = handler_text(tree_[node]);
            const std::string other = handler_text(*there.record);
            return "handler " + here + ", but " +
                   (here != other ? other : std::string("with another ") + difference) + ' ' +
                   in(there.handler_tree);
        });
    }

    bool place_free_trees()
    {
        const free_trees found = find_free_trees(tree_, known_);
        if (found.in_circle) {
            report(*found.in_circle,
                   [] { return "nodes without an owner that link to each other in a circle"; });
            return false;
        }
        for (const free_tree &each : found.trees)
            place_free_tree(each);
        return true;
    }

    // Links at the same place lead to the same, so of free trees with the same content, wherever
    // they come from, there is one.
    void place_free_tree(const free_tree &tree)
    {
        const uint32_t first = next_id();
        number_nodes(tree, first);
        free_content content = content_of(tree, first);
        const uint32_t there = find_free_tree(content.bytes);
        if (there != nowhere) {
            number_nodes(tree, there);
            return;
        }
        for (const uint32_t node : tree.nodes) {
            const uint32_t owner = known_.owners[node];
            add_place(node, node == tree.nodes.front() ? nowhere : ids_[owner]);
        }
        plan_.children.insert(plan_.children.end(), content.children.begin(),
                              content.children.end());
        plan_.free_trees.emplace(std::move(content.bytes), first);
    }

    void number_nodes(const free_tree &tree, uint32_t first)
    {
        for (size_t i = 0; i < tree.nodes.size(); ++i) {
            node_keys_[tree.nodes[i]] = keys_.number_of(tree_[tree.nodes[i]]);
            ids_[tree.nodes[i]] = first + static_cast<uint32_t>(i);
        }
    }

    uint32_t find_free_tree(const std::string &content) const
    {
        for (const free_tree_index *index : {&so_far_.free_trees(), &plan_.free_trees}) {
            if (const auto found = index->find(content); found != index->end())
                return found->second;
        }
        return nowhere;
    }

    // What a link of the tree to a node of its own leads to is counted from its root.
    free_content content_of(const free_tree &tree, uint32_t first)
    {
        free_content content;
        for (const uint32_t node : tree.nodes) {
            kiv_array_tree_node record{};
            copy_content(record, tree_[node]);
            append(content.bytes, record);
            std::vector<child> &children = children_of(node);
            std::ranges::sort(children, [&](const child &a, const child &b) {
                return goes_before(tree_[a.node], tree_[b.node]);
            });
            append(content.bytes, children.size());
            for (const child &each : children) {
                const bool own = each.id >= first;
                append(content.bytes, static_cast<uint8_t>(each.link | own << 1));
                append(content.bytes, own ? each.id - first : each.id);
                content.children.push_back(reference_to(each, ids_[node]));
            }
        }
        return content;
    }

    reference reference_to(const child &each, uint32_t owner) const
    {
        return {.owner = owner,
                .key = each.key,
                .target = each.id,
                .tree = number_,
                .link = each.link,
                .argument = is_argument(tree_[each.node])};
    }

    // The children of a node, each key once.
    std::vector<child> &children_of(uint32_t node)
    {
        children_.clear();
        tree_.for_each_child(node, [&](tree_records::child each) {
            add_child({each.node, node_keys_[each.node], ids_[each.node], each.link});
        });
        return children_;
    }

    void add_child(const child &added)
    {
        const auto earlier = position_of_key(added.key);
        if (earlier == children_.size())
            children_.push_back(added);
        else if ((children_[earlier].link || added.link) && children_[earlier].id == added.id)
            children_[earlier].link = children_[earlier].link && added.link;
        else
            report(added.node, [] { return "two different children of one node"; });
    }

    // The note says where a child with this key was last put: right only if it is still there.
    size_t position_of_key(uint32_t key)
    {
        uint8_t &position = keys_.note_of(key);
        if (position < children_.size() && children_[position].key == key)
            return position;
        position = static_cast<uint8_t>(children_.size());
        return children_.size();
    }

    void compare_children(uint32_t node)
    {
        const uint32_t owner = ids_[node];
        size_t arguments = 0;
        size_t new_children = 0;
        size_t new_arguments = 0;
        for (const child &each : children_of(node)) {
            const bool argument = is_argument(tree_[each.node]);
            arguments += argument;
            if (!is_new_child(owner, each))
                continue;
            ++new_children;
            new_arguments += argument;
            plan_.children.push_back(reference_to(each, owner));
        }
        if (is_new(owner))
            return;
        const place &there = so_far_[owner];
        if (arguments != 0 && there.argument_count != 0 &&
            (new_arguments != 0 || arguments != there.argument_count))
            report(node, [&] { return "other arguments than " + in(there.argument_tree); });
        const size_t count = there.child_count + new_children;
        if (count > KIV_NODE_MAX_CHILDREN)
            report(node, [&] {
                return std::to_string(count) + " children with those of other trees, at most " +
                       std::to_string(KIV_NODE_MAX_CHILDREN) + " are possible";
            });
    }

    bool is_new_child(uint32_t owner, const child &each)
    {
        if (is_new(owner))
            return true;
        if (!each.link)
            return is_new(each.id);
        const reference *there = so_far_.find(owner, each.key);
        if (there != nullptr && there->target != each.id)
            report(each.node, [&] {
                return std::string("a link leads here, but ") +
                       (there->link ? "one to another node " : "a node of its own is there ") +
                       in(there->tree);
            });
        return there == nullptr;
    }

    void check_size()
    {
        if (next_id() > KIV_TREE_MAX_NODES)
            report(root_node, [&] {
                return std::to_string(next_id()) + " nodes with those of other trees, at most " +
                       std::to_string(KIV_TREE_MAX_NODES) + " are possible";
            });
    }

    std::string in(uint32_t tree) const { return in_tree(trees_[tree].name); }

    template <class Text>
    void report(uint32_t node, Text text)
    {
        if (plan_.conflicts.size() < most_conflicts)
            plan_.conflicts.push_back(
                {number_, node, words_to(tree_, known_, node) + ": " + text()});
    }

    std::span<const contribution> trees_;
    uint32_t number_;
    tree_records tree_;
    const places &so_far_;
    key_numbers &keys_;
    survey known_;
    std::vector<uint32_t> ids_;       // of each node its place, or nowhere
    std::vector<uint32_t> node_keys_; // of each node that has a place
    std::vector<child> children_;     // of one node at a time
    plan plan_;
};

} // namespace

plan look_at(std::span<const contribution> trees, size_t tree, const places &so_far,
             key_numbers &keys)
{
    return look(trees, tree, so_far, keys).run();
}

} // namespace kiv::merge
