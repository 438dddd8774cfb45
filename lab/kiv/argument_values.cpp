#include "argument_values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include <arpa/inet.h>

#include "argument_types.h"
#include "interface_types.h"

namespace kiv_shell {

namespace {

using std::string_view;

template <class Record>
std::string bytes_of(const Record &record)
{
    return {reinterpret_cast<const char *>(&record), sizeof record};
}

std::string text_value(string_view text)
{
    return std::string(text) + '\0';
}

// Of a number that is larger, the low 32 bits.
template <int Base>
int32_t number_of(string_view text)
{
    if (Base == 16 && text.starts_with("0x"))
        text.remove_prefix(2);
    int64_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value, Base);
    return static_cast<int32_t>(value);
}

template <int Base>
std::string number_value(string_view text)
{
    return bytes_of(number_of<Base>(text));
}

template <int Base>
kiv_int_range range_of(string_view text)
{
    const size_t dash = text.find('-', 1); // one in front is a sign
    const int32_t low = number_of<Base>(text.substr(0, dash));
    return {low, dash == string_view::npos ? low : number_of<Base>(text.substr(dash + 1))};
}

template <int Base>
std::string range_value(string_view text)
{
    return bytes_of(range_of<Base>(text));
}

template <int Base>
std::string ranges_value(string_view text)
{
    std::string pairs;
    int32_t count = 0;
    for (size_t end = 0; end != string_view::npos; ++count) {
        end = text.find(',');
        pairs += bytes_of(range_of<Base>(text.substr(0, end)));
        if (end != string_view::npos)
            text.remove_prefix(end + 1);
    }
    return bytes_of(count) + pairs;
}

std::string uri_value(string_view text)
{
    uri_info info{};
    kiv_xml_parse_uri(&info, std::string(text).c_str());
    return bytes_of(info);
}

std::string address_value(string_view text)
{
    const std::string address(text);
    kiv_inet_addr value{};
    value.family = KIV_INET_IPV4;
    if (inet_pton(AF_INET, address.c_str(), value.address) != 1) {
        value.family = 0;
        inet_pton(AF_INET6, address.c_str(), value.address);
    }
    return bytes_of(value);
}

std::string ip_value(string_view text)
{
    in_addr address{};
    inet_pton(AF_INET, std::string(text).c_str(), &address);
    return bytes_of(address.s_addr);
}

// Pairs of digits, whatever stands between them, in so many bytes: behind zeros, or before them.
enum class filled { in_front, behind };

template <size_t Size, filled Where>
std::string hex_value(string_view text)
{
    if (text.starts_with("0x"))
        text.remove_prefix(2);
    std::string bytes;
    for (size_t i = 0; i + 1 < text.size();) {
        unsigned byte = 0;
        const char *pair = text.data() + i;
        const bool is_pair = std::from_chars(pair, pair + 2, byte, 16).ptr == pair + 2;
        if (is_pair)
            bytes += static_cast<char>(byte);
        i += is_pair ? 2 : 1;
    }
    const size_t missing = Size - std::min(bytes.size(), Size);
    return bytes.insert(Where == filled::in_front ? 0 : bytes.size(), missing, '\0');
}

std::string guid_value(string_view text)
{
    const std::string bytes = hex_value<sizeof(kiv_guid), filled::behind>(text);
    kiv_guid guid;
    std::memcpy(&guid, bytes.data(), sizeof guid);
    guid.data1 = ntohl(guid.data1);
    guid.data2 = ntohs(guid.data2);
    guid.data3 = ntohs(guid.data3);
    return bytes_of(guid);
}

std::string interface_value(string_view text)
{
    return bytes_of(kiv_interface{read_interface(text).first});
}

std::string interface_range_value(string_view text)
{
    const interface_indices named = read_interface(text);
    kiv_interface_range value{};
    value.count = 1;
    populate_intf_range(&value, 0, named.first, named.last);
    return bytes_of(value);
}

struct value_type {
    kiv_parameter_type type;
    std::string (*value)(string_view);
};

constexpr std::array value_types{
    value_type{TYPE_STRING, text_value},
    value_type{TYPE_LINE, text_value},
    value_type{TYPE_URI, uri_value},
    value_type{TYPE_DNS_NAME, text_value},
    value_type{TYPE_USERATHOST, text_value},
    value_type{TYPE_IP, ip_value},
    value_type{TYPE_IPV4, address_value},
    value_type{TYPE_IPV6, address_value},
    value_type{TYPE_INET_NAME, text_value},
    value_type{TYPE_INT, number_value<10>},
    value_type{TYPE_INT_RANGE, range_value<10>},
    value_type{TYPE_INT_MULTI_RANGE, ranges_value<10>},
    value_type{TYPE_HEX, number_value<16>},
    value_type{TYPE_HEX_RANGE, range_value<16>},
    value_type{TYPE_HEX_MULTI_RANGE, ranges_value<16>},
    value_type{TYPE_INTERFACE, interface_value},
    value_type{TYPE_INTERFACE_RANGE, interface_range_value},
    value_type{TYPE_MAC, hex_value<6, filled::in_front>},
    value_type{TYPE_WWN, hex_value<8, filled::in_front>},
    value_type{TYPE_LUN, hex_value<8, filled::behind>},
    value_type{TYPE_VSAN, number_value<10>},
    value_type{TYPE_VSAN_RANGE, range_value<10>},
    value_type{TYPE_VSAN_MULTI_RANGE, ranges_value<10>},
    value_type{TYPE_GUID, guid_value},
    value_type{TYPE_FC_ID, hex_value<4, filled::in_front>},
};

// The parameter of the node that the word was taken for: the first that it fits.
const kiv_parameter *parameter_of(const tree_view &tree, const matched_word &word)
{
    for (const kiv_parameter &parameter : tree.parameters(word.node)) {
        if (check_argument(parameter, word.value) == fit::fits)
            return &parameter;
    }
    return nullptr;
}

// An address of the newer kind where either can stand is told by its type.
kiv_parameter_type type_of(uint32_t type, string_view text)
{
    const bool is_ipv6 = type == TYPE_IP && text.find(':') != string_view::npos;
    return is_ipv6 ? TYPE_IPV6 : static_cast<kiv_parameter_type>(type);
}

} // namespace

std::vector<kiv::module::argument> arguments_of(const tree_view &tree, const command &parsed)
{
    std::vector<kiv::module::argument> arguments;
    for (const matched_word &word : parsed.words) {
        const kiv_parameter *parameter = word.is_keyword ? nullptr : parameter_of(tree, word);
        if (parameter == nullptr)
            continue;
        const kiv_parameter_type type = type_of(parameter->type, word.value);
        const auto *row = std::ranges::find(value_types, type, &value_type::type);
        if (row == value_types.end())
            continue;
        kiv::module::argument made;
        made.token_id = static_cast<int32_t>(kiv_be32_get(tree.node(word.node).token_id));
        made.type = type;
        if (type == TYPE_INTERFACE || type == TYPE_INTERFACE_RANGE)
            made.mask = interface_mask(word.value);
        made.value = row->value(word.value);
        arguments.push_back(std::move(made));
    }
    return arguments;
}

} // namespace kiv_shell
