// The command tree that a shell reads: the daemon's, and when there is a new one, that.
#ifndef LAB_KIV_FOLLOWED_TREE_H
#define LAB_KIV_FOLLOWED_TREE_H

#include <cstdint>
#include <string>

#include "daemon_link.h"
#include "failure.h"
#include "files.h"
#include "tree.h"

namespace kiv_shell {

class followed_tree {
public:
    explicit followed_tree(const daemon_link &daemon) : daemon_(daemon) {}

    // Opens the daemon's tree, or without a daemon the one that was published last, or the default
    // one.
    failure open();

    // Of the tree in force: it changes with refresh().
    const tree_view &view() const { return view_; }

    // Where it comes from.
    const std::string &path() const { return path_; }

    // Takes the daemon's new tree, if there is one; looked for when the folder has changed, or in
    // any case. Says whether the view has changed; nodes of the old one mean nothing then.
    bool refresh(bool in_any_case);

private:
    bool has_news();

    const daemon_link &daemon_;
    std::string path_;
    tree_file file_;
    tree_view view_;
    int64_t folder_changed_ = 0; // when the path was asked for, in nanoseconds
    bool is_recent_ = false;     // that change, so that another one may have the same time
};

} // namespace kiv_shell

#endif
