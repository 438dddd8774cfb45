#include "followed_tree.h"

#include <cstdlib>

#include <sys/stat.h>

#include "support/published_trees.h"

namespace kiv_shell {

namespace {

constexpr const char *unpublished_tree = "/ubex/etc/par/main_tree.par";
constexpr const char *own_tree = "/ubex/etc/par/kiv.par";

// A daemon that has no tree, or does not say, may have modules all the same: their commands are not
// the shell's to handle, as they are in the trees for a shell without a daemon.
std::string path_of_tree(const daemon_link &daemon)
{
    if (std::string merged = daemon.tree_path(); !merged.empty())
        return merged;
    if (daemon.is_there())
        return own_tree;
    const std::string published = kiv::support::published_tree(kiv::support::published_directory);
    return published.empty() ? unpublished_tree : published;
}

// Within this time of each other, in nanoseconds, changes of a folder may have the same time stamp:
// of a clock that ticks, or where only seconds are kept.
constexpr int64_t longest_tick = 50'000'000;
constexpr int64_t whole_seconds = 2'000'000'000;

int64_t nanoseconds(const timespec &time)
{
    return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

} // namespace

failure followed_tree::open()
{
    has_news();
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

// Looked at before the daemon is asked, so that what comes between is news next time.
bool followed_tree::has_news()
{
    struct stat folder {};
    if (stat(kiv::support::published_directory, &folder) != 0)
        return true;
    const int64_t changed = nanoseconds(folder.st_mtim);
    if (!is_recent_ && changed == folder_changed_)
        return false;
    timespec now{};
    folder_changed_ = changed;
    const int64_t recent = folder.st_mtim.tv_nsec == 0 ? whole_seconds : longest_tick;
    is_recent_ =
        clock_gettime(CLOCK_REALTIME, &now) != 0 || std::abs(nanoseconds(now) - changed) <= recent;
    return true;
}

bool followed_tree::refresh(bool in_any_case)
{
    if (!daemon_.is_there() || !(has_news() || in_any_case))
        return false;
    const std::string path = daemon_.tree_path();
    if (path == path_)
        return false;
    tree_file fresh;
    if (path.empty() || fresh.open(path)) {
        // It is asked for again with the next line.
        is_recent_ = true;
        return false;
    }
    path_ = path;
    file_ = std::move(fresh);
    view_ = file_.view();
    daemon_.fetch_interface_types();
    return true;
}

} // namespace kiv_shell
