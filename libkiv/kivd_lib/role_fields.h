// How a role is read that may come from another process.
#ifndef KIV_KIVD_LIB_ROLE_FIELDS_H
#define KIV_KIVD_LIB_ROLE_FIELDS_H

#include <algorithm>
#include <array>

#include <kiv/kivd_lib.h>

namespace kiv {

// The places that may hold a rule, whatever the role's count says.
inline int32_t places_in_use(const kivd_perm_group &role)
{
    return std::clamp(role.rule_count, 0, KIVD_ROLE_RULES);
}

inline bool holds_rule(const kivd_perm_group_conf_entry &place)
{
    return place.slot_state == 0;
}

inline bool is_of_all_features(const kivd_perm_group_conf_entry &rule)
{
    return rule.all_features == 1;
}

// The words of a rule. A type that there is not fails the assertion of its text.
class rule_words {
public:
    explicit rule_words(const kivd_perm_group_conf_entry &rule) // NOLINT: filled below
    {
        kivd_perm_group_rule_type_str_get(rule_type_.data(), rule.rule_type);
        kivd_perm_group_command_type_str_get(command_type_.data(), rule.command_type);
    }

    const char *rule_type() const { return rule_type_.data(); }
    const char *command_type() const { return command_type_.data(); }

private:
    std::array<char, 8> rule_type_;
    std::array<char, 8> command_type_;
};

} // namespace kiv

#endif
