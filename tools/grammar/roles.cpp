#include "grammar/roles.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include "grammar/numbers.h"
#include "grammar/refusal.h"

namespace kiv::grammar {

namespace {

struct predefined_role {
    std::string_view name;
    unsigned number;
};

// In the order of their numbers, from 0.
constexpr predefined_role predefined_roles[] = {
    {"network-admin", 0},
    {"network-operator", 1},
    {"svc-admin", 2},
    {"svc-operator", 3},
};

constexpr std::string_view no_role = "none";

struct role_range {
    unsigned first;
    unsigned last;
};

bool begins_with_digit(std::string_view text)
{
    return !text.empty() && text.front() >= '0' && text.front() <= '9';
}

unsigned role_number(std::string_view text)
{
    return static_cast<unsigned>(number_between(text, 0, KIV_PERMISSIONS_BITS - 1));
}

role_range roles_of(std::string_view text)
{
    const auto *role = std::ranges::find(predefined_roles, text, &predefined_role::name);
    if (role != std::ranges::end(predefined_roles))
        return {role->number, role->number};
    if (!begins_with_digit(text))
        refuse_found("a role's number or name, or a range of numbers", text);
    const size_t dash = text.find('-');
    const unsigned first = role_number(text.substr(0, dash));
    const unsigned last =
        dash == std::string_view::npos ? first : role_number(text.substr(dash + 1));
    if (first > last)
        refuse_found("a range of roles that begins with the lower number", text);
    return {first, last};
}

void allow(role_mask mask, role_range roles)
{
    for (unsigned role = roles.first; role <= roles.last; ++role)
        mask[role / 8] = static_cast<uint8_t>(mask[role / 8] | 1U << role % 8);
}

bool allows(const_role_mask mask, unsigned role)
{
    return (mask[role / 8] >> role % 8 & 1) != 0;
}

std::string range_text(role_range roles)
{
    std::string text;
    if (roles.last < std::size(predefined_roles)) {
        for (unsigned role = roles.first; role <= roles.last; ++role)
            text.append(text.empty() ? "" : " ").append(predefined_roles[role].name);
        return text;
    }
    text = std::to_string(roles.first);
    return roles.first == roles.last ? text : text + '-' + std::to_string(roles.last);
}

} // namespace

void allow_every_role(role_mask mask)
{
    std::ranges::fill(mask, uint8_t{0xFF});
}

bool is_every_role(const_role_mask mask)
{
    return std::ranges::all_of(mask, [](uint8_t byte) { return byte == 0xFF; });
}

std::string roles_text(const_role_mask mask)
{
    std::string text;
    for (unsigned role = 0; role < KIV_PERMISSIONS_BITS; ++role) {
        if (!allows(mask, role))
            continue;
        const unsigned first = role;
        while (role + 1 < KIV_PERMISSIONS_BITS && allows(mask, role + 1))
            ++role;
        text.append(text.empty() ? "" : " ").append(range_text({first, role}));
    }
    return text.empty() ? std::string(no_role) : text;
}

void read_roles(word_list &words, role_mask mask)
{
    std::ranges::fill(mask, uint8_t{0});
    const std::string_view first = words.take("ROLE").text;
    if (first == no_role)
        return;
    allow(mask, roles_of(first));
    for (; words.peek() != nullptr; words.skip())
        allow(mask, roles_of(words.peek()->text));
}

} // namespace kiv::grammar
