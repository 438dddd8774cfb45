#include "node_key.h"

#include <algorithm>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstring>
#include <functional>
#include <span>
#include <string_view>
#include <tuple>

#include "grammar/tree_records.h"

namespace kiv::merge {

using grammar::field_text;

namespace {

// The bytes that mean something, help being a text between them: the type and its mask before it,
// the bounds and the subtype behind it.
struct parameter_bytes {
    explicit parameter_bytes(const kiv_parameter &parameter)
        : before(bytes_of(parameter), offsetof(kiv_parameter, help)),
          help(field_text(parameter.help)),
          behind(bytes_of(parameter) + offsetof(kiv_parameter, minimum),
                 offsetof(kiv_parameter, reserved) - offsetof(kiv_parameter, minimum))
    {
    }

    static const char *bytes_of(const kiv_parameter &parameter)
    {
        return reinterpret_cast<const char *>(&parameter);
    }

    std::strong_ordering operator<=>(const parameter_bytes &other) const
    {
        return std::tie(before, help, behind) <=> std::tie(other.before, other.help, other.behind);
    }

    std::string_view before;
    std::string_view help;
    std::string_view behind;
};

std::span<const kiv_parameter> parameters(const kiv_array_tree_node &node)
{
    return {node.parameters, size_t{node.parameter_count}};
}

std::strong_ordering compare_parameters(const kiv_array_tree_node &a, const kiv_array_tree_node &b)
{
    const auto compare = [](const kiv_parameter &x, const kiv_parameter &y) {
        if (std::memcmp(&x, &y, offsetof(kiv_parameter, reserved)) == 0)
            return std::strong_ordering::equal;
        return parameter_bytes(x) <=> parameter_bytes(y);
    };
    const auto of_a = parameters(a);
    const auto of_b = parameters(b);
    return std::lexicographical_compare_three_way(of_a.begin(), of_a.end(), of_b.begin(),
                                                  of_b.end(), compare);
}

uint32_t key_hash(const kiv_array_tree_node &node)
{
    constexpr std::hash<std::string_view> hash_of{};
    constexpr uint64_t odd_factor = 0x9E3779B97F4A7C15;
    uint64_t hash = hash_of(field_text(node.token));
    for (const kiv_parameter &each : parameters(node)) {
        const parameter_bytes bytes(each);
        for (const std::string_view part : {bytes.before, bytes.help, bytes.behind})
            hash = (std::rotl(hash, 23) ^ hash_of(part)) * odd_factor;
    }
    return static_cast<uint32_t>(hash ^ hash >> 32);
}

} // namespace

bool is_argument(const kiv_array_tree_node &node)
{
    return node.parameter_count != 0;
}

bool same_key(const kiv_array_tree_node &a, const kiv_array_tree_node &b)
{
    return field_text(a.token) == field_text(b.token) && std::is_eq(compare_parameters(a, b));
}

bool goes_before(const kiv_array_tree_node &a, const kiv_array_tree_node &b)
{
    if (is_argument(a) != is_argument(b))
        return is_argument(b);
    if (is_argument(a)) {
        const auto order = compare_parameters(a, b);
        return std::is_lt(order) ||
               (std::is_eq(order) && field_text(a.token) < field_text(b.token));
    }
    const int order = treelink_lexicograph_cmp(&a, &b);
    return order < 0 || (order == 0 && field_text(a.token) < field_text(b.token));
}

uint32_t key_numbers::number_of(const kiv_array_tree_node &node)
{
    const uint32_t hash = key_hash(node);
    const uint32_t known =
        table_.find(hash, [&](uint32_t key) { return same_key(*examples_[key], node); });
    if (known != nowhere)
        return known;
    const auto added = static_cast<uint32_t>(examples_.size());
    examples_.push_back(&node);
    notes_.push_back(0);
    table_.add(hash, added);
    return added;
}

} // namespace kiv::merge
