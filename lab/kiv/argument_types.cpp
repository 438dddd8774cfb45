#include "argument_types.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <limits>

#include <arpa/inet.h>

#include <kiv/kiv_lib.h>
#include <kiv/platform/uriparse.h>

#include "failure.h"
#include "interface_types.h"

namespace kiv_shell {

namespace {

using std::string_view;

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

bool is_hex_digit(char c)
{
    return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool is_letter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

template <class Predicate>
bool is_all(string_view text, Predicate predicate)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), predicate);
}

// Calls `visit` for each piece between separators; stops at the first that does not fit.
template <class Visit>
fit each_piece(string_view text, char separator, Visit visit)
{
    for (;;) {
        const size_t end = text.find(separator);
        if (const fit piece = visit(text.substr(0, end)); piece != fit::fits)
            return piece;
        if (end == string_view::npos)
            return fit::fits;
        text.remove_prefix(end + 1);
    }
}

fit form(bool right)
{
    return right ? fit::fits : fit::wrong_form;
}

std::string as_it_stands(string_view text)
{
    return std::string(text);
}

char lower_letter(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

std::string lower_case(string_view text)
{
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), lower_letter);
    return lower;
}

// A mask may allow everything in either way; then also what has no bit of its own.
template <class Mask>
bool allows_any(Mask mask)
{
    return mask == 0 || mask == std::numeric_limits<Mask>::max();
}

enum class notation { decimal, hexadecimal };

// Bounds of decimal numbers are signed; hexadecimal numbers have no sign.
int64_t bound(notation written, uint32_t field)
{
    return written == notation::decimal ? static_cast<int32_t>(field) : int64_t{field};
}

struct number {
    int64_t value = 0;
    bool too_large = false; // for 64 bits
};

// The number at the start of the text, which is shortened by it.
template <notation Written>
bool take_number(string_view &text, number &into)
{
    constexpr int base = Written == notation::decimal ? 10 : 16;
    if (Written == notation::hexadecimal && (text.starts_with("0x") || text.starts_with("0X")))
        text.remove_prefix(2);
    if (Written == notation::hexadecimal && text.starts_with('-'))
        return false;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, into.value, base);
    into.too_large = error == std::errc::result_out_of_range;
    text.remove_prefix(static_cast<size_t>(rest - text.data()));
    return error == std::errc() || into.too_large;
}

bool is_within(const number &number, notation written, const kiv_parameter &parameter)
{
    if (parameter.subtype != 0)
        return true;
    return !number.too_large && number.value >= bound(written, parameter.minimum) &&
           number.value <= bound(written, parameter.maximum);
}

fit within(bool inside)
{
    return inside ? fit::fits : fit::out_of_bounds;
}

template <notation Written>
fit check_number(const kiv_parameter &parameter, string_view text)
{
    number number;
    if (!take_number<Written>(text, number) || !text.empty())
        return fit::wrong_form;
    return within(is_within(number, Written, parameter));
}

template <notation Written>
fit check_range(const kiv_parameter &parameter, string_view text)
{
    number low;
    if (!take_number<Written>(text, low))
        return fit::wrong_form;
    if (text.empty())
        return within(is_within(low, Written, parameter));
    if (text.front() != '-')
        return fit::wrong_form;
    text.remove_prefix(1);
    number high;
    if (!take_number<Written>(text, high) || !text.empty())
        return fit::wrong_form;
    if (!low.too_large && !high.too_large && low.value > high.value)
        return fit::wrong_form;
    return within(is_within(low, Written, parameter) && is_within(high, Written, parameter));
}

template <notation Written>
fit check_ranges(const kiv_parameter &parameter, string_view text)
{
    return each_piece(text, ',',
                      [&](string_view piece) { return check_range<Written>(parameter, piece); });
}

// One spelling for each number. Digits are not counted: a named set of values has no bounds.
template <notation Written>
std::string canonical_number(string_view text)
{
    const bool negative = text.starts_with('-');
    text.remove_prefix(negative ? 1 : 0);
    if (text.starts_with("0x") || text.starts_with("0X"))
        text.remove_prefix(2);
    text.remove_prefix(std::min(text.find_first_not_of('0'), text.size() - 1));
    if (Written == notation::hexadecimal)
        return "0x" + lower_case(text);
    return (negative && text != "0" ? "-" : "") + std::string(text);
}

template <notation Written>
std::string canonical_range(string_view text)
{
    const size_t dash = text.find('-', 1); // one in front is a sign
    const std::string low = canonical_number<Written>(text.substr(0, dash));
    const std::string high =
        dash == string_view::npos ? low : canonical_number<Written>(text.substr(dash + 1));
    return low == high ? low : low + "-" + high;
}

// A number and a range are lists of one. The order of a list stays.
template <notation Written>
std::string canonical_ranges(string_view text)
{
    std::string list;
    each_piece(text, ',', [&](string_view piece) {
        list.append(list.empty() ? "" : ",").append(canonical_range<Written>(piece));
        return fit::fits;
    });
    return list;
}

fit check_string(const kiv_parameter &parameter, string_view text)
{
    const uint32_t longest = parameter.minimum;
    return within(longest == 0 || text.size() <= longest);
}

fit check_line(const kiv_parameter &, string_view text)
{
    return form(!text.empty());
}

// 0 for a scheme that neither the system nor the shell knows.
uint32_t uri_type(const char *scheme)
{
    const uint32_t type = uri_map_get_uri_type_from_scheme(scheme);
    return type != 0 ? type : kiv_get_uri_type_from_scheme(scheme);
}

// The mask of a parameter is made of types of schemes.
fit check_uri(const kiv_parameter &parameter, string_view text)
{
    uriparse_pool pool{.magic = URIPARSE_POOL_MAGIC, .size = sizeof pool, .area = {}};
    sysmgr_strings_init(pool.area, URIPARSE_POOL_STRINGS, sizeof pool.area);
    if (uriparse_parse(std::string(text).c_str(), &pool, 1) != 0)
        return fit::wrong_form;
    const uint32_t allowed = parameter.minimum;
    return within(allows_any(allowed) || (allowed & uri_type(uriparse_scheme_get(&pool))) != 0);
}

using address_bytes = std::array<unsigned char, sizeof(in6_addr)>;

bool read_address(int family, string_view text, address_bytes &into)
{
    std::array<char, INET6_ADDRSTRLEN + 1> address{};
    if (text.size() >= address.size())
        return false;
    text.copy(address.data(), text.size());
    return inet_pton(family, address.data(), into.data()) == 1;
}

bool is_address(int family, string_view text)
{
    address_bytes bytes;
    return read_address(family, text, bytes);
}

// A name stays as it is.
std::string canonical_address(string_view text)
{
    for (const int family : {AF_INET, AF_INET6}) {
        address_bytes bytes;
        std::array<char, INET6_ADDRSTRLEN> shown{};
        if (read_address(family, text, bytes) &&
            inet_ntop(family, bytes.data(), shown.data(), shown.size()) != nullptr)
            return shown.data();
    }
    return std::string(text);
}

bool is_label(string_view text)
{
    return text.size() <= 63 &&
           is_all(text, [](char c) { return is_letter(c) || is_digit(c) || c == '-'; }) &&
           text.front() != '-' && text.back() != '-';
}

// RFC 1123; the last label of a name is not a number, so that a broken address is no name.
bool is_dns_name(string_view text)
{
    if (text.ends_with('.'))
        text.remove_suffix(1);
    const size_t last = text.rfind('.') + 1;
    return text.size() <= 253 && !is_all(text.substr(last), is_digit) &&
           each_piece(text, '.', [](string_view label) { return form(is_label(label)); }) ==
               fit::fits;
}

bool is_ip(string_view text)
{
    return is_address(AF_INET, text) || is_address(AF_INET6, text);
}

bool is_inet_name(string_view text)
{
    return is_ip(text) || is_dns_name(text);
}

bool is_user_at_host(string_view text)
{
    const size_t at = text.find('@');
    return at != string_view::npos && is_inet_name(text.substr(at + 1)) &&
           is_all(text.substr(0, at), [](char c) {
               return is_letter(c) || is_digit(c) || c == '.' || c == '_' || c == '-' || c == '+';
           });
}

template <bool (*Test)(string_view)>
fit check_form(const kiv_parameter &, string_view text)
{
    return form(Test(text));
}

template <int Family>
bool is_address_of(string_view text)
{
    return is_address(Family, text);
}

bool is_hex_of_length(string_view text, size_t length)
{
    return text.size() == length && is_all(text, is_hex_digit);
}

template <size_t Least, size_t Most>
bool are_bytes(string_view text)
{
    const size_t count = (text.size() + 1) / 3;
    return count >= Least && count <= Most && each_piece(text, ':', [](string_view piece) {
                                                  return form(is_hex_of_length(piece, 2));
                                              }) == fit::fits;
}

bool is_guid(string_view text)
{
    constexpr std::array<size_t, 5> digits{8, 4, 4, 4, 12};
    size_t group = 0;
    const fit pieces = each_piece(text, '-', [&](string_view piece) {
        return form(group < digits.size() && is_hex_of_length(piece, digits[group++]));
    });
    return pieces == fit::fits && group == digits.size();
}

bool is_fc_id(string_view text)
{
    return text.starts_with("0x") && is_hex_of_length(text.substr(2), 6);
}

std::string show_nothing(const kiv_parameter &)
{
    return {};
}

std::string show_decimal(const kiv_parameter &parameter)
{
    if (parameter.subtype != 0)
        return {};
    return " " + std::to_string(static_cast<int32_t>(uint32_t{parameter.minimum})) + ".." +
           std::to_string(static_cast<int32_t>(uint32_t{parameter.maximum}));
}

std::string show_hexadecimal(const kiv_parameter &parameter)
{
    if (parameter.subtype != 0)
        return {};
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), " %x..%x", unsigned{parameter.minimum},
                  unsigned{parameter.maximum});
    return text.data();
}

std::string show_length(const kiv_parameter &parameter)
{
    const uint32_t longest = parameter.minimum;
    return longest == 0 ? "" : " of up to " + std::to_string(longest) + " bytes";
}

// " a|b" for the bits of the mask that have names; nothing where any will do.
template <class Mask, class Name>
std::string show_names(Mask mask, Name name_of_bit)
{
    std::string text;
    for (size_t i = 0; !allows_any(mask) && i < std::numeric_limits<Mask>::digits; ++i) {
        const std::string name((mask >> i & 1) != 0 ? name_of_bit(i) : "");
        if (!name.empty())
            text.append(text.empty() ? " " : "|").append(name);
    }
    return text;
}

string_view scheme_of_bit(size_t bit)
{
    struct named_type {
        uint32_t type;
        string_view scheme;
    };
#define URI_TYPE_ROW(name, code, scheme) named_type{code, scheme},
    constexpr std::array of_the_system{URI_TYPE_TABLE(URI_TYPE_ROW)};
#undef URI_TYPE_ROW
    const uint32_t type = uint32_t{1} << bit;
    for (const named_type &row : of_the_system) {
        if (row.type == type)
            return row.scheme;
    }
    const char *of_the_shell = kiv_get_scheme_from_uri_type(type);
    return of_the_shell == nullptr ? "" : of_the_shell;
}

std::string show_schemes(const kiv_parameter &parameter)
{
    return show_names(uint32_t{parameter.minimum}, scheme_of_bit);
}

std::string show_interface_types(const kiv_parameter &parameter)
{
    return show_names(uint64_t{parameter.type_mask}, interface_type_form);
}

struct argument_type {
    kiv_parameter_type type;
    string_view name;
    fit (*check)(const kiv_parameter &, string_view);
    std::string (*canonical)(string_view);
    std::string (*show_bounds)(const kiv_parameter &);
};

constexpr auto decimal = notation::decimal;
constexpr auto hexadecimal = notation::hexadecimal;

constexpr std::array argument_types{
    argument_type{TYPE_STRING, "string", check_string, as_it_stands, show_length},
    argument_type{TYPE_LINE, "line", check_line, as_it_stands, show_nothing},
    argument_type{TYPE_URI, "uri", check_uri, as_it_stands, show_schemes},
    argument_type{TYPE_DNS_NAME, "dns-name", check_form<is_dns_name>, as_it_stands, show_nothing},
    argument_type{TYPE_USERATHOST, "user-at-host", check_form<is_user_at_host>, as_it_stands,
                  show_nothing},
    argument_type{TYPE_IP, "ip", check_form<is_ip>, canonical_address, show_nothing},
    argument_type{TYPE_IPV4, "ipv4", check_form<is_address_of<AF_INET>>, canonical_address,
                  show_nothing},
    argument_type{TYPE_IPV6, "ipv6", check_form<is_address_of<AF_INET6>>, canonical_address,
                  show_nothing},
    argument_type{TYPE_INET_NAME, "inet-name", check_form<is_inet_name>, canonical_address,
                  show_nothing},
    argument_type{TYPE_INT, "int", check_number<decimal>, canonical_ranges<decimal>, show_decimal},
    argument_type{TYPE_INT_RANGE, "int-range", check_range<decimal>, canonical_ranges<decimal>,
                  show_decimal},
    argument_type{TYPE_INT_MULTI_RANGE, "int-multi-range", check_ranges<decimal>,
                  canonical_ranges<decimal>, show_decimal},
    argument_type{TYPE_HEX, "hex", check_number<hexadecimal>, canonical_ranges<hexadecimal>,
                  show_hexadecimal},
    argument_type{TYPE_HEX_RANGE, "hex-range", check_range<hexadecimal>,
                  canonical_ranges<hexadecimal>, show_hexadecimal},
    argument_type{TYPE_HEX_MULTI_RANGE, "hex-multi-range", check_ranges<hexadecimal>,
                  canonical_ranges<hexadecimal>, show_hexadecimal},
    argument_type{TYPE_INTERFACE, "interface", check_interface, as_it_stands, show_interface_types},
    argument_type{TYPE_INTERFACE_RANGE, "interface-range", check_interface_range, as_it_stands,
                  show_interface_types},
    argument_type{TYPE_MAC, "mac", check_form<are_bytes<6, 6>>, lower_case, show_nothing},
    argument_type{TYPE_WWN, "wwn", check_form<are_bytes<8, 8>>, lower_case, show_nothing},
    argument_type{TYPE_LUN, "lun", check_form<are_bytes<1, 8>>, lower_case, show_nothing},
    argument_type{TYPE_VSAN, "vsan", check_number<decimal>, canonical_ranges<decimal>,
                  show_decimal},
    argument_type{TYPE_VSAN_RANGE, "vsan-range", check_range<decimal>, canonical_ranges<decimal>,
                  show_decimal},
    argument_type{TYPE_VSAN_MULTI_RANGE, "vsan-multi-range", check_ranges<decimal>,
                  canonical_ranges<decimal>, show_decimal},
    argument_type{TYPE_GUID, "guid", check_form<is_guid>, lower_case, show_nothing},
    argument_type{TYPE_FC_ID, "fc-id", check_form<is_fc_id>, lower_case, show_nothing},
};

const argument_type *find_type(const kiv_parameter &parameter)
{
    const auto found =
        std::find_if(argument_types.begin(), argument_types.end(), [&](const argument_type &row) {
            return static_cast<uint32_t>(row.type) == kiv_be32_get(parameter.type);
        });
    return found == argument_types.end() ? nullptr : &*found;
}

} // namespace

fit check_argument(const kiv_parameter &parameter, string_view text)
{
    const argument_type *type = find_type(parameter);
    return type == nullptr ? fit::wrong_form : type->check(parameter, text);
}

std::string canonical_argument(const kiv_parameter &parameter, string_view text)
{
    const argument_type *type = find_type(parameter);
    return type == nullptr ? std::string(text) : type->canonical(text);
}

bool takes_rest_of_line(const kiv_parameter &parameter)
{
    return parameter.type == TYPE_LINE;
}

std::string describe_parameter(const kiv_parameter &parameter)
{
    const argument_type *type = find_type(parameter);
    if (type == nullptr)
        return "<argument of an unknown type>";
    return "<" + std::string(type->name) + type->show_bounds(parameter) + ">";
}

} // namespace kiv_shell
