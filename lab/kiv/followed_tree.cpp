#include "followed_tree.h"

#include <array>

#include <sys/inotify.h>

#include "support/published_trees.h"

namespace kiv_shell {

namespace {

constexpr const char *unpublished_tree = "/ubex/etc/par/main_tree.par";

std::string path_of_tree(const daemon_link &daemon)
{
    if (std::string merged = daemon.tree_path(); !merged.empty())
        return merged;
    const std::string published = kiv::support::published_tree(kiv::support::published_directory);
    return published.empty() ? unpublished_tree : published;
}

// New files of a folder.
unique_fd watch(const char *folder)
{
    unique_fd watching(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    if (watching && inotify_add_watch(watching.get(), folder, IN_MOVED_TO | IN_CLOSE_WRITE) < 0)
        return {};
    return watching;
}

} // namespace

failure followed_tree::open()
{
    if (daemon_.is_there())
        news_ = watch(kiv::support::published_directory);
    // A file that the daemon has just replaced twice is gone: then there is another one.
    failure failed;
    std::string path;
    for (std::string next = path_of_tree(daemon_); next != path; next = path_of_tree(daemon_)) {
        path = next;
        failed = file_.open(path);
        if (!failed)
            break;
    }
    path_ = path;
    view_ = file_.view();
    daemon_.fetch_interface_types();
    return failed;
}

bool followed_tree::has_news()
{
    alignas(inotify_event) std::array<char, 4096> events;
    bool any = false;
    while (news_ && read(news_.get(), events.data(), events.size()) > 0)
        any = true;
    return any;
}

bool followed_tree::refresh()
{
    if (!has_news())
        return false;
    const std::string path = daemon_.tree_path();
    tree_file fresh;
    if (path.empty() || path == path_ || fresh.open(path))
        return false;
    path_ = path;
    file_ = std::move(fresh);
    view_ = file_.view();
    daemon_.fetch_interface_types();
    return true;
}

} // namespace kiv_shell
