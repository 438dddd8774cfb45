#include "survey.h"

#include "index_table.h"

namespace kiv::merge {

using grammar::root_node;
using grammar::tree_records;

namespace {

class surveyor {
public:
    explicit surveyor(const tree_records &tree) : tree_(tree), reached_(tree.size())
    {
        found_.owners.assign(tree.size(), nowhere);
        found_.below_root.reserve(tree.size());
    }

    survey run()
    {
        std::vector<uint32_t> linked;
        walk(root_node, found_.below_root, linked);
        std::vector<uint32_t> apart;
        while (!linked.empty()) {
            const uint32_t start = linked.back();
            linked.pop_back();
            walk(start, apart, linked);
        }
        for (const uint32_t node : apart) {
            if (found_.owners[node] == nowhere)
                found_.free_roots.push_back(node);
        }
        return std::move(found_);
    }

private:
    // Adds the node and what it owns to `nodes`, depth first, and what they link to to `linked`,
    // where nothing has come to it yet.
    void walk(uint32_t start, std::vector<uint32_t> &nodes, std::vector<uint32_t> &linked)
    {
        reach(start);
        while (!waiting_.empty()) {
            const uint32_t owner = waiting_.back();
            waiting_.pop_back();
            nodes.push_back(owner);
            for (uint32_t position = tree_.child_count(owner); position-- > 0;) {
                const tree_records::child each = tree_.child_at(owner, position);
                if (!each.link)
                    own(owner, each.node);
                else if (reached_[each.node] == 0)
                    linked.push_back(each.node);
            }
        }
    }

    void reach(uint32_t node)
    {
        if (reached_[node] == 0)
            waiting_.push_back(node);
        reached_[node] = 1;
    }

    void own(uint32_t owner, uint32_t node)
    {
        if (node == root_node || found_.owners[node] != nowhere)
            found_.several_owners.push_back(node);
        else
            found_.owners[node] = owner;
        reach(node);
    }

    const tree_records &tree_;
    std::vector<uint8_t> reached_;
    std::vector<uint32_t> waiting_;
    survey found_;
};

} // namespace

survey look_around(const tree_records &tree)
{
    return surveyor(tree).run();
}

} // namespace kiv::merge
