#include "lab/roles/decision.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <pwd.h>

#include "support/field_text.h"

namespace kiv::roles {

namespace {

using kiv::support::field_text;

bool matches(const kivd_perm_group_conf_entry &rule, const action &wanted)
{
    return rule.slot_state == 0 && rule.command_type == wanted.type &&
           (rule.all_features == 1 || field_text(rule.feature) == wanted.feature);
}

bool is_predefined(const std::string &name)
{
    return kivd_static_perm_group_locate_entry_by_name(
               kivd_static_perm_group_table, kivd_static_perm_group_table_size, name.c_str()) >= 0;
}

decision decide_predefined(const std::string &name)
{
    const bool permitted = name == administrator_role;
    return {permitted, name, 0, "predefined role " + name + (permitted ? "" : " changes nothing")};
}

std::vector<std::string> words_of(std::string_view line)
{
    std::vector<std::string> words;
    constexpr std::string_view blanks = " \t\r";
    for (size_t start = 0; (start = line.find_first_not_of(blanks, start)) != line.npos;) {
        if (line[start] == '#')
            break;
        const size_t end = std::min(line.find_first_of(blanks, start), line.size());
        words.emplace_back(line.substr(start, end - start));
        start = end;
    }
    return words;
}

// Whether the rule says something about the action.
bool applies(const kivd_perm_group_conf_entry &rule, const action &wanted)
{
    if (wanted.of_any_feature)
        return rule.slot_state == 0 && rule.command_type == wanted.type &&
               rule.rule_type == KIVD_RULE_PERMIT;
    return matches(rule, wanted);
}

} // namespace

decision decide(const kivd_perm_group &role, const action &wanted)
{
    const std::string name(field_text(role.name));
    for (int number = std::clamp(role.rule_count, 0, KIVD_ROLE_RULES); number > 0; --number) {
        const kivd_perm_group_conf_entry &rule = role.rules[number - 1];
        if (!applies(rule, wanted))
            continue;
        const bool permitted = rule.rule_type == KIVD_RULE_PERMIT;
        return {permitted, name, number,
                "rule " + std::to_string(number) + " of role " + name +
                    (permitted ? " permits it" : " denies it")};
    }
    return {false, name, 0, "no rule of role " + name + " matches"};
}

decision decide(std::span<const std::string> names, std::span<const kivd_perm_group> configured,
                const action &wanted)
{
    decision last{false, "", 0, "the user has no role"};
    for (const std::string &name : names) {
        const auto role = std::ranges::find_if(configured, [&](const kivd_perm_group &each) {
            return each.valid == 1 && field_text(each.name) == name;
        });
        if (is_predefined(name))
            last = decide_predefined(name);
        else if (role != configured.end())
            last = decide(*role, wanted);
        else
            last = {false, name, 0, "there is no role " + name};
        if (last.permitted)
            break;
    }
    return last;
}

std::vector<std::string> roles_in(std::string_view users, std::string_view user)
{
    while (!users.empty()) {
        const size_t end = std::min(users.find('\n'), users.size());
        std::vector<std::string> words = words_of(users.substr(0, end));
        users.remove_prefix(std::min(end + 1, users.size()));
        if (words.empty() || words.front() != user)
            continue;
        words.erase(words.begin());
        return words;
    }
    return {};
}

std::string user_name(uid_t uid)
{
    passwd entry;
    passwd *found = nullptr;
    std::array<char, 4096> room;
    if (getpwuid_r(uid, &entry, room.data(), room.size(), &found) == 0 && found != nullptr)
        return found->pw_name;
    return std::to_string(uid);
}

} // namespace kiv::roles
