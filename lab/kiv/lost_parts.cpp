#include "lost_parts.h"

#include <cerrno>

#include "module_link.h"

namespace kiv_shell {

lost_parts::lost_parts(const daemon_link *daemon, const followed_tree *followed) : daemon_(daemon)
{
    if (daemon_ == nullptr || !daemon_->is_there())
        return;
    ask();
    if (doubt_)
        return;
    path_ = daemon_->tree_path();
    if (path_.empty() || followed == nullptr || path_ == followed->path())
        return;
    // In a mode, commands stay those of the tree in which it was entered.
    if (const failure failed = file_.open(path_))
        doubt(failed);
    else
        newest_ = file_.view();
}

// A daemon that is silent is asked no more: each question would wait for it again.
void lost_parts::ask()
{
    if (!doubt_)
        doubt(daemon_->fetch_lost_modules(names_));
}

void lost_parts::doubt(const failure &why)
{
    if (!doubt_)
        doubt_ = why;
}

std::string lost_parts::lines()
{
    if (daemon_ == nullptr)
        return {};
    if (!daemon_->is_there())
        return daemon_link::was_there() ? "! MISSING: all modules: the daemon is not there\n" : "";
    ask();
    if (!doubt_ && daemon_->tree_path() != path_)
        doubt("the command tree has changed meanwhile");
    std::string text;
    if (doubt_)
        text = "! MISSING: some or all modules: " + *doubt_ + "\n";
    for (const std::string &name : names_)
        text += "! MISSING: module " + printable(name) + ": " +
                transport_message(KIV_TIMEOUT_QUERY, EPIPE);
    return text;
}

} // namespace kiv_shell
