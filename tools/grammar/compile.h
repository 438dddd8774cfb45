// The tree compiler: a grammar text in, the nodes of a parse-tree file out.
#ifndef GRAMMAR_COMPILE_H
#define GRAMMAR_COMPILE_H

#include <string>
#include <string_view>
#include <vector>

#include <kiv/common.h>

#include "grammar/diagnostics.h"

namespace kiv::grammar {

// In bytes; far beyond real grammars.
constexpr size_t longest_text = size_t{256} << 20;

struct result {
    std::vector<kiv_array_tree_node> nodes; // empty where there are errors
    std::vector<diagnostic> errors;         // in the order of the lines
};

// Any text will do. The nodes of a grammar without errors pass kiv_tree_check. Throws
// std::bad_alloc.
result compile(std::string_view text);

} // namespace kiv::grammar

#endif
