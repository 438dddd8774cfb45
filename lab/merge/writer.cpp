#include "writer.h"

#include <algorithm>
#include <span>

#include "libkiv/common/fetch.h"
#include "node_key.h"
#include "shared_node.h"

namespace kiv::merge {

namespace {

class writer {
public:
    explicit writer(const places &tree)
        : tree_(tree), numbers_(tree.size(), nowhere), first_children_(tree.size())
    {
        order_.reserve(tree.size());
        children_.reserve(tree.size());
    }

    std::vector<kiv_array_tree_node> run()
    {
        number_from(0);
        for (size_t next = 0; next < order_.size(); ++next)
            number_linked(order_[next]);
        std::vector<kiv_array_tree_node> nodes;
        nodes.reserve(order_.size());
        for (size_t i = 0; i < order_.size(); ++i) {
            if (i + fetched_ahead < order_.size())
                fetch(*tree_[order_[i + fetched_ahead]].record);
            write(nodes.emplace_back(), order_[i]);
        }
        return nodes;
    }

private:
    static constexpr size_t fetched_ahead = 4;

    struct sorted_child {
        uint32_t id;
        bool link;
    };

    std::span<const sorted_child> children(uint32_t id) const
    {
        return std::span(children_).subspan(first_children_[id], tree_[id].child_count);
    }

    void number_from(uint32_t root)
    {
        waiting_.assign(1, root);
        while (!waiting_.empty()) {
            const uint32_t id = waiting_.back();
            waiting_.pop_back();
            numbers_[id] = static_cast<uint32_t>(order_.size());
            order_.push_back(id);
            sort_children(id);
            const auto sorted = children(id);
            for (auto each = sorted.rbegin(); each != sorted.rend(); ++each) {
                if (!each->link)
                    waiting_.push_back(each->id);
            }
        }
    }

    void sort_children(uint32_t id)
    {
        first_children_[id] = children_.size();
        tree_.for_each_child(id, [&](const reference &each) {
            children_.push_back({each.target, each.link});
        });
        std::sort(children_.begin() + static_cast<ptrdiff_t>(first_children_[id]), children_.end(),
                  [&](const sorted_child &a, const sorted_child &b) {
                      return goes_before(*tree_[a.id].record, *tree_[b.id].record);
                  });
    }

    void number_linked(uint32_t id)
    {
        for (size_t i = 0; i < tree_[id].child_count; ++i) {
            const uint32_t target = children(id)[i].id;
            if (numbers_[target] == nowhere)
                number_from(top_of(target));
        }
    }

    uint32_t top_of(uint32_t id) const
    {
        while (tree_[id].owner != nowhere)
            id = tree_[id].owner;
        return id;
    }

    void write(kiv_array_tree_node &record, uint32_t id) const
    {
        copy_content(record, *tree_[id].record);
        const auto sorted = children(id);
        record.child_count = static_cast<uint16_t>(sorted.size());
        for (size_t i = 0; i < sorted.size(); ++i) {
            record.children[i] = static_cast<uint16_t>(numbers_[sorted[i].id]);
            if (sorted[i].link)
                record.childlist_mask[i / 8] |= static_cast<uint8_t>(1U << i % 8);
        }
    }

    const places &tree_;
    std::vector<uint32_t> order_;   // places in the order of their numbers
    std::vector<uint32_t> numbers_; // by place
    std::vector<sorted_child> children_;
    std::vector<size_t> first_children_; // by place
    std::vector<uint32_t> waiting_;
};

} // namespace

std::vector<kiv_array_tree_node> written(const places &tree)
{
    return writer(tree).run();
}

} // namespace kiv::merge
