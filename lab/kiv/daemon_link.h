// What the shell asks the daemon, and tells it.
#ifndef LAB_KIV_DAEMON_LINK_H
#define LAB_KIV_DAEMON_LINK_H

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "failure.h"
#include "rights.h"

namespace kiv_shell {

class daemon_link {
public:
    // Asks whether there is a daemon.
    daemon_link();

    // Ends the lock, if this shell has it.
    ~daemon_link();
    daemon_link(const daemon_link &) = delete;
    daemon_link &operator=(const daemon_link &) = delete;

    // A daemon that does not answer is there all the same, and what depends on its answers is
    // refused.
    bool is_there() const { return is_there_; }

    // Asks again, where it has not answered. Returns whether it does from now on.
    bool begins_to_answer();

    // Whether the machine has had a daemon since it was started, or ever, so that there may be
    // modules.
    static bool was_there();

    // Whether the daemon lets this user do everything.
    bool is_administrator(uid_t user) const { return user == 0 || user == administrator_; }

    // The path of the tree in force; empty where the daemon has none.
    std::string tree_path() const;

    // Adds the modules that ought to be there and are not in the tree in force. Fails where the
    // daemon does not say.
    failure fetch_lost_modules(std::set<std::string> &names) const;

    // Makes the types of interfaces that are registered known to this shell.
    void fetch_interface_types() const;

    // What this shell's user may run; none where that is everything.
    std::optional<rights> user_rights(const tree_view &tree) const;

    // Takes the configuration lock, or makes sure that this shell has it still, which it has not
    // where the daemon was started again; and gives it back. Without a daemon there is none to
    // take.
    failure lock();
    void unlock();

private:
    void ask(int32_t seconds);

    bool is_there_ = false;
    bool answers_ = false;
    uint32_t administrator_ = 0;
    bool has_lock_ = false;
};

// The roles of a user by its name: from the users' file, or the default role.
std::vector<std::string> roles_of_user(const std::string &user);

// The configured roles, from the daemon.
failure fetch_roles(std::vector<kivd_perm_group> &roles);

} // namespace kiv_shell

#endif
