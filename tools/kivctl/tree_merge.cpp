#include <deque>
#include <string>
#include <vector>

#include "commands.h"
#include "lab/merge/merge.h"
#include "report.h"
#include "tree_files.h"
#include "tree_jobs.h"

namespace kivctl {

namespace {

// Returns the exit status. The copies stay as they are while the trees are merged.
int open_all(const tree_request &request, std::deque<tree_file> &trees)
{
    for (const char *name : request.files) {
        if (are_one_file(name, request.output))
            return fail(request.output, "is one of the trees themselves");
        if (const int status = trees.emplace_back().open_sound_copy(name); status != done)
            return status;
    }
    return done;
}

} // namespace

int merge_trees(const tree_request &request)
{
    std::deque<tree_file> trees;
    if (const int status = open_all(request, trees); status != done)
        return status;
    std::vector<kiv::merge::contribution> contributions;
    for (size_t i = 0; i < trees.size(); ++i)
        contributions.push_back(
            {request.files[i],
             {reinterpret_cast<const kiv_array_tree_node *>(trees[i].bytes().data()),
              trees[i].node_count()}});
    const kiv::merge::result merged = kiv::merge::merge(contributions);
    int status = done;
    for (const kiv::merge::conflict &found : merged.conflicts)
        status = fail(request.files[found.tree],
                      "node " + std::to_string(found.node) + ": " + found.text);
    if (status != done)
        return status;
    const std::string_view bytes(reinterpret_cast<const char *>(merged.nodes.data()),
                                 merged.nodes.size() * sizeof merged.nodes[0]);
    status = deliver(bytes, request.output, request.file, "tree");
    return status != done ? status
                          : print(std::string(request.output) + ": " +
                                  node_count_text(merged.nodes.size()) + '\n');
}

} // namespace kivctl
