#ifndef GRAMMAR_DRAFT_H
#define GRAMMAR_DRAFT_H

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "grammar/compile.h"
#include "grammar/diagnostics.h"
#include "grammar/statements.h"
#include "grammar/tree_records.h"

namespace kiv::grammar {

// The tree as far as it has been read: the records, and of each node what a record does not hold.
// What one line cannot show is checked at the end.
class draft {
public:
    draft();

    size_t size() const { return records_.size(); }
    kiv_array_tree_node &record(uint32_t node) { return records_[node]; }

    // The new node is a child of `owner`. Refuses more nodes than a tree may have; nothing can be
    // added from then on.
    uint32_t add_node(uint32_t owner, size_t line);
    bool overfull() const { return overfull_; }

    void add_link(uint32_t owner, size_t line, std::string_view name);

    // Refuses a property whose field is set already.
    void add_property(uint32_t node, const statement &property, size_t line);

    void set_root_line(size_t line) { nodes_[root_node].line = line; }

    // What the node gets if it has a function or a generator and names no message type of its own.
    void set_default_message_type(uint32_t node, uint16_t type)
    {
        nodes_[node].default_message_type = type;
    }

    // There are errors in the lines of the node. What may follow from them is not reported.
    void doubt(uint32_t node) { nodes_[node].doubtful = true; }

    // A line was passed over that may hold the name of a node.
    void doubt_names() { names_complete_ = false; }

    // Completes and checks the tree; `errors` are those that the lines had.
    result finish(diagnostics errors);

private:
    struct child {
        size_t line;
        uint32_t node;
        std::string link; // the name that a link refers to; empty: no link
    };

    struct property {
        std::string_view field;
        std::string_view word;
        size_t line;
    };

    struct node_lines {
        size_t line;
        std::vector<child> children;
        std::vector<property> properties;
        uint16_t default_message_type = 0;
        bool doubtful = false;
    };

    void add_child(uint32_t owner, child added);
    void complete_message_type(uint32_t which);
    void collect_names(diagnostics &errors);
    bool resolve(child &which, diagnostics &errors) const;
    void attach_children(uint32_t owner, diagnostics &errors);
    void check_siblings(uint32_t owner, diagnostics &errors) const;
    void check_end(uint32_t which, diagnostics &errors) const;
    void check_soundness(diagnostics &errors) const;
    const property *find_property(uint32_t which, std::string_view field) const;

    std::vector<kiv_array_tree_node> records_;
    std::vector<node_lines> nodes_;
    std::unordered_map<std::string_view, uint32_t> names_;
    bool names_complete_ = true;
    bool overfull_ = false;
};

} // namespace kiv::grammar

#endif
