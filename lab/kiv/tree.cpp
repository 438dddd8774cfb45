#include "tree.h"

#include <sys/stat.h>

#include <kiv/extras.h>

#include "support/tree_fault.h"

namespace kiv_shell {

namespace {

// One node more than a tree may have, for the check to say so.
constexpr size_t largest_tree = sizeof(kiv_array_tree_node) * (KIV_TREE_MAX_NODES + size_t{1});

static_assert(alignof(kiv_array_tree_node) == 1, "nodes may stand anywhere in memory");

failure check(const std::string &name, std::string_view content)
{
    kiv_tree_check_result found;
    if (kiv_tree_check(content.data(), content.size(), &found) == 0)
        return {};
    return printable(name) + ": " + kiv::support::tree_fault(found);
}

} // namespace

std::vector<node_index> tree_view::way_to(node_index wanted) const
{
    std::vector<node_index> owners(count_, root_node);
    for (node_index index = 0; index < count_; ++index) {
        for (size_t i = 0; i < child_count(index); ++i) {
            if (!is_link(index, i))
                owners[child(index, i)] = index;
        }
    }
    // Bytes that somebody changes meanwhile may lead around in a circle.
    std::vector<node_index> way;
    for (node_index at = wanted; at != root_node && way.size() < KIV_TREE_MAX_DEPTH;
         at = owners[at])
        way.insert(way.begin(), at);
    return way;
}

std::optional<node_index> tree_view::mode_of_function(std::string_view function) const
{
    for (node_index index = 0; index < count_; ++index) {
        if (enters_mode(index) && this->function(index) == function)
            return index;
    }
    return {};
}

failure tree_file::open(const std::string &name)
{
    // Opening a pipe would wait for its other end.
    struct stat status;
    if (stat(name.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        return printable(name) + ": not a regular file";
    if (const int error = file_.open(name.c_str(), largest_tree); error != 0)
        return system_failure(name, error);
    return check(name, file_.bytes());
}

tree_view tree_file::view() const
{
    const std::string_view content = file_.bytes();
    return {reinterpret_cast<const kiv_array_tree_node *>(content.data()),
            content.size() / sizeof(kiv_array_tree_node)};
}

} // namespace kiv_shell
