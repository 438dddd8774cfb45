// Any text compiles to a sound tree or to errors in the order of the lines, never to both. A tree
// has a grammar that compiles to it again.

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include <kiv/extras.h>

#include "grammar/compile.h"
#include "grammar/decompile.h"
#include "require.h"

namespace {

using fuzz::require;

void check_tree(const std::vector<kiv_array_tree_node> &nodes)
{
    require(kiv_tree_check(nodes.data(), nodes.size() * sizeof(kiv_array_tree_node), nullptr) == 0);
    const kiv::grammar::decompiled back = kiv::grammar::decompile(nodes);
    require(!back.fault);
    const kiv::grammar::result again = kiv::grammar::compile(back.text);
    require(again.nodes.size() == nodes.size());
    require(std::memcmp(again.nodes.data(), nodes.data(), nodes.size() * sizeof nodes[0]) == 0);
}

void check_errors(const std::vector<kiv::grammar::diagnostic> &errors)
{
    size_t line = 1;
    for (const kiv::grammar::diagnostic &error : errors) {
        require(error.line >= line && !error.text.empty());
        require(error.text.find("internal error") != 0);
        line = error.line;
    }
    require(errors.size() <= kiv::grammar::diagnostics::shown + 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const kiv::grammar::result compiled =
        kiv::grammar::compile({reinterpret_cast<const char *>(data), size});
    require(compiled.nodes.empty() != compiled.errors.empty());
    if (compiled.errors.empty())
        check_tree(compiled.nodes);
    else
        check_errors(compiled.errors);
    return 0;
}
