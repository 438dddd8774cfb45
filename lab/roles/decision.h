// What the roles of a user permit.
//
// A predefined role may use the nodes of the tree whose masks name it, and change nothing of the
// daemon unless it is network-admin. A configured role has rules: those that match are applied in
// the order of their numbers, so the last one decides; what none matches is denied. A user with
// several roles may do what one of them permits.
#ifndef LAB_ROLES_DECISION_H
#define LAB_ROLES_DECISION_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include <kiv/kivd_lib.h>

namespace kiv::roles {

constexpr std::string_view administrator_role = "network-admin";
constexpr std::string_view default_role = "network-operator";

// Which user has which roles: lines "USER ROLE [ROLE...]"; a word that
// begins with "#" begins a comment. Users without a
// line have the default role, the administrator's user the administrator's.
inline constexpr const char *users_file = "/ubex/etc/kivd/users";

// What a rule is held against.
struct action {
    kivd_command_type type;
    std::string_view feature;
    bool of_any_feature = false; // enough where a rule permits one, whichever it is
};

struct decision {
    bool permitted;
    std::string role; // that permits; or the last that denies
    int rule;         // its number; 0: none, as for a predefined role
    std::string why;  // in words
};

// What one configured role says.
decision decide(const kivd_perm_group &role, const action &wanted);

// What the roles say together. A predefined role permits where it is network-admin; a name that is
// no role denies.
decision decide(std::span<const std::string> names, std::span<const kivd_perm_group> configured,
                const action &wanted);

// The roles in the text of a users' file, in their order; empty where the user has no line.
std::vector<std::string> roles_in(std::string_view users, std::string_view user);

// The name of a user, or its number where it has none.
std::string user_name(uid_t uid);

} // namespace kiv::roles

#endif
