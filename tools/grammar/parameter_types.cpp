#include "grammar/parameter_types.h"

#include <algorithm>
#include <limits>
#include <string>

#include "grammar/fields.h"
#include "grammar/numbers.h"
#include "grammar/refusal.h"

namespace kiv::grammar {

namespace {

template <typename Integer>
void store_bounds(kiv_parameter &parameter, std::string_view text, Integer minimum, Integer maximum)
{
    if (minimum > maximum)
        refuse_found("MIN..MAX with MIN not above MAX", text);
    parameter.minimum = static_cast<uint32_t>(minimum);
    parameter.maximum = static_cast<uint32_t>(maximum);
}

void read_integers(std::string_view text, kiv_parameter &parameter)
{
    const bounds_text bounds = split_bounds(text);
    store_bounds(parameter, text, number<int32_t>(bounds.minimum), number<int32_t>(bounds.maximum));
}

void read_hexadecimals(std::string_view text, kiv_parameter &parameter)
{
    const bounds_text bounds = split_bounds(text);
    store_bounds(parameter, text, hexadecimal(bounds.minimum), hexadecimal(bounds.maximum));
}

constexpr uint64_t highest_signed = std::numeric_limits<int32_t>::max();

void read_naturals(std::string_view text, kiv_parameter &parameter)
{
    const bounds_text bounds = split_bounds(text);
    store_bounds(parameter, text, number_between(bounds.minimum, 0, highest_signed),
                 number_between(bounds.maximum, 0, highest_signed));
}

void read_length(std::string_view text, kiv_parameter &parameter)
{
    parameter.minimum = static_cast<uint32_t>(number_between(text, 0, highest_signed));
}

void read_schemes(std::string_view text, kiv_parameter &parameter)
{
    parameter.minimum = number<uint32_t>(text);
}

void read_interface_types(std::string_view text, kiv_parameter &parameter)
{
    parameter.type_mask = number<uint64_t>(text);
}

std::string integers_text(const kiv_parameter &parameter)
{
    return std::to_string(static_cast<int32_t>(uint32_t{parameter.minimum})) + ".." +
           std::to_string(static_cast<int32_t>(uint32_t{parameter.maximum}));
}

std::string hexadecimals_text(const kiv_parameter &parameter)
{
    return hexadecimal_digits(parameter.minimum) + ".." + hexadecimal_digits(parameter.maximum);
}

std::string length_text(const kiv_parameter &parameter)
{
    return std::to_string(uint32_t{parameter.minimum});
}

std::string schemes_text(const kiv_parameter &parameter)
{
    return hexadecimal_text(parameter.minimum);
}

std::string interface_types_text(const kiv_parameter &parameter)
{
    return hexadecimal_text(parameter.type_mask);
}

// How the bounds of a type are written and what holds where they are left out.
struct bounds_form {
    void (*read)(std::string_view text, kiv_parameter &parameter); // null: the type has none
    std::string (*text)(const kiv_parameter &parameter);
    uint32_t default_minimum;
    uint32_t default_maximum;
    uint64_t default_type_mask;
    bool takes_subtype;
};

constexpr bounds_form no_bounds{nullptr, nullptr, 0, 0, 0, false};
constexpr bounds_form integers{read_integers, integers_text, 0x80000000U, 0x7FFFFFFFU, 0, true};
constexpr bounds_form hexadecimals{read_hexadecimals, hexadecimals_text, 0, 0xFFFFFFFFU, 0, true};
constexpr bounds_form virtual_sans{read_naturals, integers_text, 1, 4093, 0, true};
constexpr bounds_form length{read_length, length_text, 0, 0, 0, false};
constexpr bounds_form schemes{read_schemes, schemes_text, 0xFFFFFFFFU, 0, 0, false};
constexpr bounds_form interface_types{
    read_interface_types, interface_types_text, 0, 0, ~uint64_t{0}, false};

struct parameter_type {
    std::string_view word;
    uint32_t code;
    const bounds_form *bounds;
};

constexpr parameter_type parameter_types[] = {
    {"int", TYPE_INT, &integers},
    {"int-range", TYPE_INT_RANGE, &integers},
    {"int-multi-range", TYPE_INT_MULTI_RANGE, &integers},
    {"hex", TYPE_HEX, &hexadecimals},
    {"hex-range", TYPE_HEX_RANGE, &hexadecimals},
    {"hex-multi-range", TYPE_HEX_MULTI_RANGE, &hexadecimals},
    {"vsan", TYPE_VSAN, &virtual_sans},
    {"vsan-range", TYPE_VSAN_RANGE, &virtual_sans},
    {"vsan-multi-range", TYPE_VSAN_MULTI_RANGE, &virtual_sans},
    {"string", TYPE_STRING, &length},
    {"line", TYPE_LINE, &no_bounds},
    {"uri", TYPE_URI, &schemes},
    {"interface", TYPE_INTERFACE, &interface_types},
    {"interface-range", TYPE_INTERFACE_RANGE, &interface_types},
    {"ipv4", TYPE_IPV4, &no_bounds},
    {"ipv6", TYPE_IPV6, &no_bounds},
    {"ip", TYPE_IP, &no_bounds},
    {"inet-name", TYPE_INET_NAME, &no_bounds},
    {"dns-name", TYPE_DNS_NAME, &no_bounds},
    {"user-at-host", TYPE_USERATHOST, &no_bounds},
    {"mac", TYPE_MAC, &no_bounds},
    {"wwn", TYPE_WWN, &no_bounds},
    {"lun", TYPE_LUN, &no_bounds},
    {"guid", TYPE_GUID, &no_bounds},
    {"fc-id", TYPE_FC_ID, &no_bounds},
};

const parameter_type &take_type(word_list &words)
{
    const std::string &text = words.take("TYPE").text;
    const auto *found = std::ranges::find(parameter_types, text, &parameter_type::word);
    if (found == std::ranges::end(parameter_types))
        refuse_found("the TYPE of an argument", text);
    return *found;
}

void read_subtype(word_list &words, kiv_parameter &parameter)
{
    words.skip();
    const std::string &text = words.take("the number of the subtype").text;
    parameter.subtype =
        static_cast<uint32_t>(number_between(text, 1, std::numeric_limits<uint32_t>::max()));
}

void read_bounds(word_list &words, const bounds_form &form, kiv_parameter &parameter)
{
    const word *next = words.peek();
    if (form.read == nullptr || next == nullptr || next->quoted) {
        parameter.minimum = form.default_minimum;
        parameter.maximum = form.default_maximum;
        parameter.type_mask = form.default_type_mask;
    } else if (form.takes_subtype && next->text == "subtype") {
        read_subtype(words, parameter);
    } else {
        form.read(next->text, parameter);
        words.skip();
    }
}

// What is left out would be read as these bounds. Those of virtual SANs are written all the same,
// since nobody has them in mind.
bool goes_without_saying(const bounds_form &form, const kiv_parameter &parameter)
{
    return form.text == nullptr ||
           (&form != &virtual_sans && parameter.minimum == form.default_minimum &&
            parameter.maximum == form.default_maximum &&
            parameter.type_mask == form.default_type_mask);
}

const parameter_type *find_type(uint32_t code)
{
    const auto *found = std::ranges::find(parameter_types, code, &parameter_type::code);
    return found == std::ranges::end(parameter_types) ? nullptr : found;
}

} // namespace

void read_parameter(word_list &words, kiv_parameter &parameter)
{
    const parameter_type &type = take_type(words);
    parameter.type = type.code;
    read_bounds(words, *type.bounds, parameter);
    read_help(words, parameter.help);
}

bool has_type(const kiv_parameter &parameter)
{
    return find_type(parameter.type) != nullptr;
}

std::string type_text(const kiv_parameter &parameter)
{
    const parameter_type *type = find_type(parameter.type);
    return type == nullptr ? hexadecimal_text(parameter.type) : std::string(type->word);
}

std::string bounds_operand(const kiv_parameter &parameter)
{
    const parameter_type *type = find_type(parameter.type);
    if (type == nullptr)
        return {};
    const bounds_form &form = *type->bounds;
    if (form.takes_subtype && parameter.subtype != 0)
        return "subtype " + std::to_string(uint32_t{parameter.subtype});
    return goes_without_saying(form, parameter) ? std::string() : form.text(parameter);
}

std::string parameter_text(const kiv_parameter &parameter)
{
    const std::string bounds = bounds_operand(parameter);
    return bounds.empty() ? type_text(parameter) : type_text(parameter) + ' ' + bounds;
}

} // namespace kiv::grammar
