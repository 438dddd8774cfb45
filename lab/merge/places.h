#ifndef LAB_MERGE_PLACES_H
#define LAB_MERGE_PLACES_H

#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include <kiv/common.h>

#include "index_table.h"

namespace kiv::merge {

// A node of the result. Trees are named by their number among the contributions.
struct place {
    const kiv_array_tree_node *record; // of a contribution, or joined
    uint32_t owner;                    // nowhere: the root, and what links alone lead to
    uint32_t first_child = nowhere;    // among the references
    uint32_t handler_tree;             // where its handler, generator and arguments came from
    uint32_t generator_tree;
    uint32_t argument_tree;
    uint16_t child_count = 0;
    uint16_t argument_count = 0;           // of the children
    kiv_array_tree_node *joined = nullptr; // the record, if it is a joined one
};

// One child of a place.
struct reference {
    uint32_t owner;
    uint32_t key;
    uint32_t target;
    uint32_t tree;
    bool link;
    bool argument;
    uint32_t next = nowhere; // of the same owner
};

// By its whole content, the first place of a tree that links alone lead to.
using free_tree_index = std::unordered_map<std::string, uint32_t>;

// The result while it grows. Place 0 is the root.
class places {
public:
    explicit places(size_t expected);

    uint32_t size() const { return static_cast<uint32_t>(places_.size()); }
    const place &operator[](uint32_t id) const { return places_[id]; }

    // The child with this key, or null.
    const reference *find(uint32_t owner, uint32_t key) const;

    template <class Visit>
    void for_each_child(uint32_t id, Visit visit) const
    {
        for (uint32_t next = places_[id].first_child; next != nowhere;) {
            visit(references_[next]);
            next = references_[next].next;
        }
    }

    const free_tree_index &free_trees() const { return free_trees_; }
    void add_free_trees(free_tree_index added) { free_trees_.merge(added); }

    void add(const kiv_array_tree_node &record, uint32_t owner, uint32_t tree);
    void join(uint32_t id, const kiv_array_tree_node &record, uint32_t tree);
    void add_child(reference added);

private:
    std::vector<place> places_;
    std::vector<reference> references_;
    index_table children_;
    std::deque<kiv_array_tree_node> joined_;
    free_tree_index free_trees_;
};

} // namespace kiv::merge

#endif
