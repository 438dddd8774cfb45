#include <string>

#include "commands.h"
#include "grammar/decompile.h"
#include "report.h"
#include "support/characters.h"
#include "support/tree_fault.h"
#include "tree/figures.h"
#include "tree/graph.h"
#include "tree/json.h"
#include "tree/nested.h"
#include "tree/outline.h"
#include "tree/picture.h"
#include "tree_files.h"
#include "tree_jobs.h"

namespace kivctl {

namespace {

// More than any tree whose nodes have one owner each.
constexpr uint64_t longest_dump = uint64_t{KIV_TREE_MAX_NODES} * (KIV_NODE_MAX_CHILDREN + 1);

std::string check_json(const char *path, const tree_file &tree, const kiv_tree_check_result &found)
{
    const bool sound = found.fault == KIV_TREE_SOUND;
    kiv::tree::json_object object;
    object.add_text("file", path).add_flag("sound", sound);
    if (sound)
        object.add_number("nodes", tree.node_count());
    else if (kiv::support::is_of_a_node(found))
        object.add_number("node", found.node);
    if (!sound)
        object.add_text("fault", kiv_tree_fault_text(found.fault));
    return object.text() + '\n';
}

std::string check_text(const char *path, const tree_file &tree, const kiv_tree_check_result &found)
{
    const bool sound = found.fault == KIV_TREE_SOUND;
    return kiv::support::printable(path) + ": " +
           (sound ? "sound, " + node_count_text(tree.node_count())
                  : kiv::support::tree_fault(found)) +
           '\n';
}

int show_grammar(const char *path, const tree_file &tree)
{
    const kiv::grammar::decompiled result = kiv::grammar::decompile(tree.records().nodes());
    if (result.fault)
        return fail(path, "node " + std::to_string(result.fault->node) +
                              " cannot be written as grammar: " + result.fault->why);
    return print(result.text);
}

} // namespace

int check_tree(const tree_request &request)
{
    tree_file tree;
    if (const int status = tree.open(request.file); status != done)
        return status;
    const kiv_tree_check_result found = tree.check();
    const int printed = print((request.json ? check_json : check_text)(request.file, tree, found));
    return found.fault == KIV_TREE_SOUND ? printed : failed;
}

int dump_tree(const tree_request &request)
{
    tree_file tree;
    if (const int status = tree.open_sound_copy(request.file); status != done)
        return status;
    if (kiv::tree::dumped_lines(tree.records()) > longest_dump)
        return fail(request.file, "nodes are shared so often that the dump would have over " +
                                      std::to_string(longest_dump) + " lines");
    display_array_tree(tree.records().nodes().data(), 0, 0);
    return print("");
}

int show_tree(const tree_request &request)
{
    tree_file tree;
    if (const int status = tree.open_sound(request.file); status != done)
        return status;
    if (request.grammar)
        return show_grammar(request.file, tree);
    return print((request.json ? kiv::tree::nested_json : kiv::tree::outline)(tree.records()));
}

int graph_tree(const tree_request &request)
{
    tree_file tree;
    if (const int status = tree.open_sound(request.file); status != done)
        return status;
    std::string graph = kiv::tree::dot_graph(tree.records());
    if (request.svg) {
        std::string picture;
        if (const std::string problem = kiv::tree::draw_svg(graph, picture); !problem.empty())
            return fail(request.file, problem);
        graph = std::move(picture);
    }
    return deliver(graph, request.output, request.file, "tree");
}

int measure_tree(const tree_request &request)
{
    tree_file tree;
    if (const int status = tree.open_sound(request.file); status != done)
        return status;
    const kiv::grammar::tree_records records = tree.records();
    const kiv::tree::figures measured = kiv::tree::measure(records);
    return print(request.json ? kiv::tree::figures_json(measured)
                              : kiv::tree::figures_text(measured, records));
}

} // namespace kivctl
