// What the running configuration lacks although no part of it has failed: modules that ought to be
// there, and of which the command tree says nothing.
#ifndef LAB_KIV_LOST_PARTS_H
#define LAB_KIV_LOST_PARTS_H

#include <optional>
#include <set>
#include <string>

#include "daemon_link.h"
#include "failure.h"
#include "followed_tree.h"
#include "tree.h"

namespace kiv_shell {

// Stands around the collection of the parts: modules come and go meanwhile, and none of them is
// passed over.
class lost_parts {
public:
    // Without a daemon, null, nothing is lost. Both outlive it.
    lost_parts(const daemon_link *daemon, const followed_tree *followed);
    lost_parts(const lost_parts &) = delete;
    lost_parts &operator=(const lost_parts &) = delete;

    // The tree that names the parts, the daemon's newest, where it is another than `current`, the
    // one whose commands are in use.
    const tree_view &tree(const tree_view &current) const { return newest_ ? *newest_ : current; }

    // Comment lines, once the parts are there; empty if nothing is lost.
    std::string lines();

private:
    void ask();
    void doubt(const failure &why);

    const daemon_link *daemon_;
    std::string path_;
    tree_file file_;
    std::optional<tree_view> newest_;
    std::set<std::string> names_;
    failure doubt_;
};

} // namespace kiv_shell

#endif
