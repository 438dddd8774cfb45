// The compiler's way back: the nodes of a tree in, a grammar text out.
#ifndef GRAMMAR_DECOMPILE_H
#define GRAMMAR_DECOMPILE_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include <kiv/common.h>

namespace kiv::grammar {

// A node that no grammar makes, and what stands in the way.
struct unwritable {
    uint32_t node;
    std::string why;
};

struct decompiled {
    std::string text; // empty where a node is unwritable
    std::optional<unwritable> fault;
};

// The grammar text that compiles to exactly these nodes, which kiv_tree_check has found sound.
// Every tree that the compiler made has one; the text is compiled again to make sure. Throws
// std::bad_alloc.
decompiled decompile(std::span<const kiv_array_tree_node> nodes);

} // namespace kiv::grammar

#endif
