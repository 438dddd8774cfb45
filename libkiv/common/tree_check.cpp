#include <algorithm>
#include <array>
#include <cstring>

#include <kiv/extras.h>

#include "fetch.h"

namespace {

constexpr std::array fault_texts{
#define KIV_TREE_FAULT_ROW(name, text) text,
    KIV_TREE_FAULT_TABLE(KIV_TREE_FAULT_ROW)
#undef KIV_TREE_FAULT_ROW
};

template <size_t Size>
bool ends(const char (&field)[Size])
{
    return field[Size - 1] == '\0' || std::memchr(field, '\0', Size) != nullptr;
}

bool strings_end(const kiv_array_tree_node &node)
{
    return ends(node.node_name) && ends(node.token) && ends(node.help) && ends(node.submode_help) &&
           ends(node.submode_prompt) && ends(node.func_id) && ends(node.module_id) &&
           ends(node.subtree_config_generator);
}

bool is_link(const kiv_array_tree_node &node, uint32_t child)
{
    return (node.childlist_mask[child / 8] >> child % 8 & 1) != 0;
}

// Reads every count once, and bounds what is read again: the tree may be a mapped file that
// somebody writes to, and the check still stays inside it.
uint32_t bounded_child_count(const kiv_array_tree_node &node)
{
    return std::min<uint32_t>(node.child_count, KIV_NODE_MAX_CHILDREN);
}

// What one node shows by itself.
kiv_tree_fault node_fault(const kiv_array_tree_node &node, size_t node_count)
{
    if (!strings_end(node))
        return KIV_TREE_STRING_OPEN;
    const uint32_t parameter_count = node.parameter_count;
    if (parameter_count > KIV_NODE_MAX_PARAMETERS)
        return KIV_TREE_PARAMETER_COUNT;
    for (uint32_t i = 0; i < parameter_count; ++i) {
        if (!ends(node.parameters[i].help))
            return KIV_TREE_STRING_OPEN;
    }
    const uint32_t child_count = node.child_count;
    if (child_count > KIV_NODE_MAX_CHILDREN)
        return KIV_TREE_CHILD_COUNT;
    for (uint32_t i = 0; i < child_count; ++i) {
        if (node.children[i] >= node_count)
            return KIV_TREE_CHILD_INDEX;
    }
    return KIV_TREE_SOUND;
}

// Of each node a number of levels.
using level_table = std::array<uint8_t, KIV_TREE_MAX_NODES>;

// Knows the depth of trees after one look at their nodes in order, as long as all children stand on
// one side of their owners: behind them, as tree compilers store them, or in front.
class ordered_depth {
public:
    explicit ordered_depth(level_table &levels) : levels_(levels) {}

    void add(uint32_t index, const kiv_array_tree_node &node)
    {
        const uint32_t count = bounded_child_count(node);
        for (uint32_t i = 0; i < count; ++i) {
            if (!is_link(node, i))
                add_child(index, node.children[i]);
        }
    }

    // False where it is not known, or not all right.
    bool is_allowed() const { return allowed_; }

private:
    enum class side { unknown, behind, in_front };

    // Behind an owner, a child is one level further from a node that has none; in front of it, the
    // owner is one level further from the node furthest below.
    void add_child(uint32_t owner, uint32_t child)
    {
        const side found = child > owner ? side::behind : side::in_front;
        if (children_ == side::unknown)
            children_ = found;
        const uint32_t nearer = found == side::behind ? owner : child;
        const uint32_t further = found == side::behind ? child : owner;
        const int levels = levels_[nearer] + 1;
        allowed_ = allowed_ && found == children_ && child != owner && levels < KIV_TREE_MAX_DEPTH;
        if (allowed_)
            levels_[further] = std::max(levels_[further], static_cast<uint8_t>(levels));
    }

    level_table &levels_;
    side children_ = side::unknown;
    bool allowed_ = true;
};

// Measures how far down every node reaches, each node once and each link between owner and child
// once. The path in hand is never longer than the depth limit, so a small array holds it.
class depth_check {
public:
    depth_check(const kiv_array_tree_node *tree, uint32_t node_count, level_table &levels)
        : tree_(tree), node_count_(node_count), levels_(levels)
    {
    }

    kiv_tree_check_result run()
    {
        std::fill_n(levels_.begin(), node_count_, unseen);
        for (uint32_t start = 0; start < node_count_; ++start) {
            if (levels_[start] != unseen)
                continue;
            if (const kiv_tree_check_result found = walk(start); found.fault != KIV_TREE_SOUND)
                return found;
        }
        return {};
    }

private:
    struct step {
        uint32_t node;
        uint32_t next_child;
        uint8_t levels;
    };

    // Values of levels_ that are no number of levels.
    static constexpr uint8_t unseen = 0;
    static constexpr uint8_t on_path = 0xFF;

    kiv_tree_check_result walk(uint32_t start)
    {
        enter(start);
        while (length_ > 0) {
            step &top = path_[length_ - 1];
            if (top.next_child >= bounded_child_count(tree_[top.node])) {
                leave();
                continue;
            }
            const uint32_t position = top.next_child++;
            if (is_link(tree_[top.node], position))
                continue;
            const uint32_t child = tree_[top.node].children[position];
            if (child >= node_count_)
                return {KIV_TREE_CHILD_INDEX, top.node};
            const uint8_t below = levels_[child];
            if (below == on_path)
                return {KIV_TREE_CYCLE, child};
            if (length_ + (below == unseen ? 1 : below) > path_.size())
                return {KIV_TREE_TOO_DEEP, child};
            if (below == unseen)
                enter(child);
            else
                top.levels = std::max<uint8_t>(top.levels, static_cast<uint8_t>(below + 1));
        }
        return {};
    }

    void enter(uint32_t node)
    {
        levels_[node] = on_path;
        path_[length_++] = {node, 0, 1};
    }

    void leave()
    {
        const step done = path_[--length_];
        levels_[done.node] = done.levels;
        if (length_ > 0) {
            step &owner = path_[length_ - 1];
            owner.levels = std::max<uint8_t>(owner.levels, static_cast<uint8_t>(done.levels + 1));
        }
    }

    const kiv_array_tree_node *tree_;
    uint32_t node_count_;
    std::array<step, KIV_TREE_MAX_DEPTH> path_{};
    size_t length_ = 0;
    // How many levels the subtree of a node has, the node's own among them.
    level_table &levels_;
};

kiv_tree_check_result check_nodes(const kiv_array_tree_node *tree, uint32_t node_count)
{
    constexpr uint32_t fetched_ahead = 6;
    level_table levels;
    std::fill_n(levels.begin(), node_count, uint8_t{0});
    ordered_depth depth(levels);
    for (uint32_t i = 0; i < node_count; ++i) {
        if (i + fetched_ahead < node_count)
            kiv::fetch(tree[i + fetched_ahead]);
        if (const kiv_tree_fault fault = node_fault(tree[i], node_count); fault != KIV_TREE_SOUND)
            return {fault, i};
        if (depth.is_allowed())
            depth.add(i, tree[i]);
    }
    if (depth.is_allowed())
        return {};
    return depth_check(tree, node_count, levels).run();
}

kiv_tree_check_result check(const void *buffer, size_t size)
{
    if (size == 0)
        return {KIV_TREE_EMPTY, 0};
    if (size % sizeof(kiv_array_tree_node) != 0)
        return {KIV_TREE_CUT_OFF, 0};
    const size_t node_count = size / sizeof(kiv_array_tree_node);
    if (node_count > KIV_TREE_MAX_NODES)
        return {KIV_TREE_TOO_MANY_NODES, 0};
    return check_nodes(static_cast<const kiv_array_tree_node *>(buffer),
                       static_cast<uint32_t>(node_count));
}

} // namespace

int kiv_tree_check(const void *tree, size_t size, kiv_tree_check_result *result) noexcept
{
    const kiv_tree_check_result found =
        tree == nullptr ? kiv_tree_check_result{KIV_TREE_EMPTY, 0} : check(tree, size);
    if (result != nullptr)
        *result = found;
    return found.fault == KIV_TREE_SOUND ? 0 : -1;
}

const char *kiv_tree_fault_text(int32_t fault) noexcept
{
    return fault >= 0 && static_cast<size_t>(fault) < fault_texts.size()
               ? fault_texts[static_cast<size_t>(fault)]
               : "unknown fault";
}
