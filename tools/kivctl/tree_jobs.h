// The jobs of `kivctl tree`, one function each; the result is the exit status.
#ifndef KIVCTL_TREE_JOBS_H
#define KIVCTL_TREE_JOBS_H

#include <span>

namespace kivctl {

struct tree_request {
    const char *file = nullptr; // "-": standard input
    std::span<char *> files;    // all that are named, the one above first
    const char *output = nullptr;
    const char *directory = nullptr;
    bool json = false;
    bool grammar = false;
    bool svg = false;
};

int compile_tree(const tree_request &request);
int check_tree(const tree_request &request);
int dump_tree(const tree_request &request);
int show_tree(const tree_request &request);
int graph_tree(const tree_request &request);
int measure_tree(const tree_request &request);
int merge_trees(const tree_request &request);
int publish_tree(const tree_request &request);
int zip_tree(const tree_request &request);
int unzip_tree(const tree_request &request);

} // namespace kivctl

#endif
