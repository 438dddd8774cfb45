// A tree that passes the check can be shown in every way, and becomes a grammar text or is refused.

#include <cstdlib>

#include <kiv/extras.h>

#include "edited_tree.h"
#include "grammar/decompile.h"
#include "tree/figures.h"
#include "tree/graph.h"
#include "tree/nested.h"
#include "tree/outline.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto nodes = fuzz::edited_tree(data, size);
    if (kiv_tree_check(nodes.get(), fuzz::node_count * sizeof nodes[0], nullptr) != 0)
        return 0;
    const kiv::grammar::tree_records tree({nodes.get(), fuzz::node_count});
    const kiv::tree::figures measured = kiv::tree::measure(tree);
    if (measured.nodes != fuzz::node_count || kiv::tree::figures_json(measured).empty() ||
        kiv::tree::outline(tree).empty() || kiv::tree::nested_json(tree).empty() ||
        kiv::tree::dot_graph(tree).empty())
        std::abort();
    const kiv::grammar::decompiled text = kiv::grammar::decompile({nodes.get(), fuzz::node_count});
    if (text.fault && !text.text.empty())
        std::abort();
    return 0;
}
