#ifndef GRAMMAR_GRAMMAR_WRITER_H
#define GRAMMAR_GRAMMAR_WRITER_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "grammar/decompile.h"
#include "grammar/tree_records.h"

namespace kiv::grammar {

// Writes the statements of a tree, and remembers whose each line is. What a statement cannot say is
// left out, for compiling the text will show it; what would spoil the text is thrown, as
// `unwritable`.
class grammar_writer {
public:
    explicit grammar_writer(tree_records tree) : tree_(tree) {}

    void write();
    const std::string &text() const { return text_; }
    std::string take_text() { return std::move(text_); }
    // The root's for a line that was not written.
    uint32_t node_of_line(size_t line) const
    {
        return line <= line_nodes_.size() ? line_nodes_[line - 1] : root_node;
    }

private:
    void check_places();
    void check_children(uint32_t owner, size_t depth);
    void check_link(uint32_t owner, uint32_t target) const;

    void write_root();
    void write_top_level();
    uint32_t end_of_subtree(uint32_t top) const;
    void choose_default_module(uint32_t first, uint32_t end);
    void set_default_module(uint32_t model);
    void write_node(uint32_t node, size_t level);
    void write_properties(uint32_t node, size_t level);
    void write_command(uint32_t node, size_t level);
    void write_children(uint32_t owner, size_t level);
    void write_link(uint32_t owner, uint32_t target, size_t level);
    void add_line(uint32_t node, size_t level, std::string_view words);
    void separate();

    std::string_view module_of(uint32_t node) const { return field_text(tree_[node].module_id); }

    tree_records tree_;
    uint32_t next_ = root_node + 1; // the node whose line comes next
    std::string_view default_module_;
    std::string text_;
    std::vector<uint32_t> line_nodes_;
};

} // namespace kiv::grammar

#endif
