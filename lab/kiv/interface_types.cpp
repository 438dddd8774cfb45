#include "interface_types.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <string>
#include <vector>

#include <kiv/module.h>

#include "support/field_text.h"

namespace kiv_shell {

namespace {

using std::string_view;

constexpr size_t most_digits = 4;
constexpr int largest_number = 9999;
constexpr size_t most_numbers = 2;
constexpr size_t most_types = 16; // that an index can tell apart
constexpr string_view digits = "0123456789";

struct limits {
    int least = 0;
    int most = largest_number;
};

struct interface_type {
    size_t bit;
    std::string name;
    std::vector<limits> numbers;
};

std::vector<interface_type> types_of_every_switch()
{
    return {{0, "fc", {{}, {}}}, {1, "mgmt", {{}}}, {2, "port-channel", {{}}}};
}

std::vector<interface_type> &types()
{
    static std::vector<interface_type> known = types_of_every_switch();
    return known;
}

std::vector<limits> limits_of(const kiv_intf_help_info &help)
{
    std::vector<limits> numbers;
    const int count = std::clamp(help.field_count, 0, KIV_INTF_HELP_FIELDS);
    numbers.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
        numbers.push_back({help.fields[i].minimum, help.fields[i].maximum});
    return numbers;
}

int number_of(string_view text)
{
    int value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

// One spelling for each number, since the name of an interface is what settings are found by.
bool is_number(string_view text)
{
    return !text.empty() && text.size() <= most_digits &&
           text.find_first_not_of(digits) == string_view::npos &&
           (text == "0" || text.front() != '0');
}

// The type that the text begins with, which is taken off; of several, the longest.
const interface_type *take_type(string_view &text)
{
    const interface_type *found = nullptr;
    for (const interface_type &type : types()) {
        if (text.starts_with(type.name) &&
            (found == nullptr || type.name.size() > found->name.size()))
            found = &type;
    }
    text.remove_prefix(found == nullptr ? 0 : found->name.size());
    return found;
}

fit check_numbers(string_view text, const std::vector<limits> &wanted)
{
    bool inside = true;
    for (size_t i = 0; i < wanted.size(); ++i) {
        const size_t slash = text.find('/');
        const string_view number = text.substr(0, slash);
        const bool is_last = i + 1 == wanted.size();
        if (!is_number(number) || is_last != (slash == string_view::npos))
            return fit::wrong_form;
        const int value = number_of(number);
        inside = inside && value >= wanted[i].least && value <= wanted[i].most;
        text.remove_prefix(is_last ? 0 : slash + 1);
    }
    return inside ? fit::fits : fit::out_of_bounds;
}

bool allows(uint64_t mask, size_t bit)
{
    return mask == 0 || (mask >> bit & 1) != 0;
}

} // namespace

void take_interface_types(std::span<const kiv_interface_table_entry> registered)
{
    std::vector<interface_type> known = types_of_every_switch();
    for (const kiv_interface_table_entry &entry : registered) {
        const auto bit = static_cast<size_t>(std::countr_zero(entry.intf_mask));
        std::vector<limits> numbers = limits_of(entry.help_info);
        const std::string name(kiv::support::field_text(entry.name));
        const bool is_usable = bit < most_types && !name.empty() && !numbers.empty() &&
                               numbers.size() <= most_numbers &&
                               digits.find(name.back()) == string_view::npos;
        if (!is_usable)
            continue;
        std::erase_if(known, [&](const interface_type &type) {
            return type.bit == bit || type.name == name;
        });
        known.push_back({bit, name, std::move(numbers)});
    }
    types() = std::move(known);
}

std::string interface_type_form(size_t bit)
{
    const auto found = std::ranges::find(types(), bit, &interface_type::bit);
    if (found == types().end())
        return {};
    std::string form = found->name;
    for (size_t i = 0; i < found->numbers.size(); ++i) {
        const limits &number = found->numbers[i];
        if (number.most == largest_number)
            return found->name;
        form.append(i == 0 ? "(" : "/(").append(std::to_string(number.least));
        form.append("..").append(std::to_string(number.most)).append(")");
    }
    return form;
}

fit check_interface(const kiv_parameter &parameter, string_view text)
{
    const interface_type *type = take_type(text);
    if (type == nullptr)
        return fit::wrong_form;
    const fit numbers = check_numbers(text, type->numbers);
    if (numbers != fit::fits)
        return numbers;
    return allows(parameter.type_mask, type->bit) ? fit::fits : fit::out_of_bounds;
}

// The name of a type may have a '-' itself.
fit check_interface_range(const kiv_parameter &parameter, string_view text)
{
    const size_t dash = text.rfind('-');
    const string_view high = dash == string_view::npos ? "" : text.substr(dash + 1);
    if (!is_number(high))
        return check_interface(parameter, text);
    const string_view first = text.substr(0, dash);
    const fit low = check_interface(parameter, first);
    if (low != fit::fits)
        return low;
    const size_t at = first.find_last_not_of(digits) + 1;
    if (number_of(first.substr(at)) > number_of(high))
        return fit::wrong_form;
    return check_interface(parameter, std::string(first.substr(0, at)).append(high));
}

interface_indices read_interface(string_view text)
{
    const interface_type *type = take_type(text);
    if (type == nullptr)
        return {};
    const size_t dash = text.find('-');
    const size_t slash = text.find('/');
    const int first = number_of(text);
    const bool has_second = slash != string_view::npos;
    const int second = has_second ? number_of(text.substr(slash + 1)) : 0;
    const int low = has_second ? second : first;
    const int high = dash == string_view::npos ? low : number_of(text.substr(dash + 1));
    return {KIV_IFINDEX(type->bit, first, second),
            has_second ? KIV_IFINDEX(type->bit, first, high) : KIV_IFINDEX(type->bit, high, 0)};
}

uint64_t interface_mask(string_view text)
{
    return uint64_t{1} << KIV_IFINDEX_TYPE(read_interface(text).first);
}

} // namespace kiv_shell
