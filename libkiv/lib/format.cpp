#include <algorithm>
#include <array>
#include <charconv>
#include <concepts>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <span>
#include <string_view>

#include <arpa/inet.h>

#include <kiv/kiv_lib.h>

#include "common/standard_output.h"

namespace {

using kiv::hex_digits;
using kiv::large_output;
using kiv::standard_output;
using pieces = std::initializer_list<std::string_view>;

constexpr std::string_view hex_prefix = "0x";

struct release {
    void operator()(char *text) const { std::free(text); }
};
using heap_text = std::unique_ptr<char, release>;

char *allocate_text(size_t length)
{
    return static_cast<char *>(std::malloc(length + 1));
}

char *append(char *end, std::string_view piece)
{
    std::memcpy(end, piece.data(), piece.size());
    return end + piece.size();
}

char *append_hex(char *end, uint8_t byte)
{
    std::memcpy(end, hex_digits[byte].data(), 2);
    return end + 2;
}

char *joined(pieces texts)
{
    size_t length = 0;
    for (const std::string_view piece : texts)
        length += piece.size();
    char *text = allocate_text(length);
    if (text == nullptr)
        return nullptr;
    char *end = text;
    for (const std::string_view piece : texts)
        end = append(end, piece);
    *end = '\0';
    return text;
}

// The digits of a number, with zeros in front of it up to the width.
class digits {
public:
    template <std::integral Integer>
    explicit digits(Integer number, int base = 10, size_t width = 0)
    {
        char *begin = text_.data();
        const char *end = std::to_chars(begin, begin + text_.size(), number, base).ptr;
        length_ = static_cast<size_t>(end - begin);
        if (length_ >= width)
            return;
        const size_t zeros = width - length_;
        std::memmove(begin + zeros, begin, length_);
        std::memset(begin, '0', zeros);
        length_ = width;
    }

    operator std::string_view() const { return {text_.data(), length_}; } // NOLINT: is that text

private:
    std::array<char, 24> text_;
    size_t length_;
};

digits hex(auto number, size_t width = 0)
{
    return digits(number, 16, width);
}

digits hex_of_signed(int32_t number)
{
    return hex(static_cast<uint32_t>(number));
}

digits big_endian16(const uint8_t *bytes)
{
    return hex(static_cast<uint32_t>(bytes[0] << 8 | bytes[1]), 4);
}

size_t size_of(int32_t length)
{
    return static_cast<size_t>(std::max(length, 0));
}

// An address as inet_ntop writes it.
class address_text {
public:
    address_text(int family, const void *bytes)
    {
        inet_ntop(family, bytes, text_.data(), static_cast<socklen_t>(text_.size()));
    }

    operator std::string_view() const { return text_.data(); } // NOLINT: is that text

private:
    std::array<char, INET6_ADDRSTRLEN> text_{};
};

address_text ipv4_text(const kiv_inet_addr &address)
{
    return {AF_INET, address.address};
}

address_text ipv6_text(const kiv_inet_addr &address)
{
    return {AF_INET6, address.address};
}

void print_and_free(char *text)
{
    const heap_text owner(text);
    print_string(text);
}

// What `build` appends, on standard output at once.
void print_built(auto build)
{
    {
        large_output out;
        build(out);
    }
    std::fflush(stdout);
}

void append_all(standard_output &out, pieces texts)
{
    for (const std::string_view piece : texts)
        out.append(piece);
}

void print_joined(pieces texts)
{
    print_built([texts](standard_output &out) { append_all(out, texts); });
}

void print_ranges(const kiv_int_multi_range &list, std::string_view prefix, auto digits_of)
{
    print_built([&](standard_output &out) {
        std::string_view separator = " ";
        for (const kiv_int_range &range : std::span(list.ranges, size_of(list.count))) {
            append_all(out, {separator, prefix, digits_of(range.low), " - ", prefix,
                             digits_of(range.high)});
            separator = ", ";
        }
    });
}

// Interfaces have no names here.
void report_unnamed(const char *function)
{
    print_built([function](standard_output &out) {
        append_all(out, {function, ": modified/stubbed!\n"});
    });
}

} // namespace

char *create_str(const char *s) noexcept
{
    return s == nullptr ? nullptr : joined({s});
}

void print_string(const char *s) noexcept
{
    if (s == nullptr)
        return;
    std::fputs(s, stdout);
    std::fflush(stdout);
}

void print_user_at_host(const char *s) noexcept
{
    print_string(s);
}

void print_dns_name(const char *s) noexcept
{
    print_string(s);
}

void print_inet_name(const char *s) noexcept
{
    print_string(s);
}

char *print_integer_to_str(int32_t value) noexcept
{
    return joined({digits(value)});
}

char *print_intx_to_str(uint32_t value) noexcept
{
    return joined({hex_prefix, hex(value)});
}

char *print_u_long_long_to_str(int64_t value) noexcept
{
    return joined({digits(value)});
}

char *print_integer_range_to_str(const kiv_int_range *range) noexcept
{
    KIV_ASSERT("kiv_lib", range);
    return joined({digits(range->low), " - ", digits(range->high)});
}

void print_hex_range(const kiv_int_range *range) noexcept
{
    KIV_ASSERT("kiv_lib", range);
    print_joined({hex_prefix, hex_of_signed(range->low), " - ", hex_prefix,
                  hex_of_signed(range->high), "\n"});
}

void print_integer_multi_range(const kiv_int_multi_range *ranges) noexcept
{
    KIV_ASSERT("kiv_lib", ranges);
    print_ranges(*ranges, "", [](int32_t number) { return digits(number); });
}

void print_hex_multi_range(const kiv_int_multi_range *ranges) noexcept
{
    KIV_ASSERT("kiv_lib", ranges);
    print_ranges(*ranges, hex_prefix, hex_of_signed);
}

char *print_hex_to_str(const void *bytes, int32_t length) noexcept
{
    KIV_ASSERT_TEXT("kiv_lib", bytes != nullptr || length <= 0, "bytes");
    const std::span values(static_cast<const uint8_t *>(bytes), size_of(length));
    char *text = allocate_text(hex_prefix.size() + 2 * values.size());
    if (text == nullptr)
        return nullptr;
    char *end = append(text, hex_prefix);
    for (const uint8_t byte : values)
        end = append_hex(end, byte);
    *end = '\0';
    return text;
}

void print_hex(const void *bytes, int32_t length) noexcept
{
    print_and_free(print_hex_to_str(bytes, length));
}

char *print_ipv4_to_str(const kiv_inet_addr *address) noexcept
{
    KIV_ASSERT("kiv_lib", address);
    return joined({ipv4_text(*address)});
}

char *print_ipv6_to_str(const kiv_inet_addr *address) noexcept
{
    KIV_ASSERT("kiv_lib", address);
    return joined({ipv6_text(*address)});
}

char *print_inet_addr_to_str(const kiv_inet_addr *address) noexcept
{
    KIV_ASSERT("kiv_lib", address);
    return address->family == KIV_INET_IPV4 ? print_ipv4_to_str(address)
                                            : print_ipv6_to_str(address);
}

char *print_ipv4_prefix_to_str(const kiv_inet_prefix *prefix) noexcept
{
    KIV_ASSERT("kiv_lib", prefix);
    return joined({ipv4_text(prefix->address), "/", digits(prefix->length)});
}

char *print_ipv6_prefix_to_str(const kiv_inet_prefix *prefix) noexcept
{
    KIV_ASSERT("kiv_lib", prefix);
    return joined({ipv6_text(prefix->address), "/", digits(prefix->length)});
}

char *print_ip_to_str(uint32_t address) noexcept
{
    return joined({address_text(AF_INET, &address)});
}

char *print_community_to_str(const kiv_community *community) noexcept
{
    KIV_ASSERT("kiv_lib", community);
    return joined({digits(community->first), ":", digits(community->second)});
}

char *print_type_lid_to_str(const uint8_t *lid) noexcept
{
    KIV_ASSERT("kiv_lib", lid);
    return joined({big_endian16(lid), ".", big_endian16(lid + 2), ".", big_endian16(lid + 4), ".",
                   digits(lid[6], 10, 2), "-", digits(lid[7], 10, 2)});
}

char *print_type_net_to_str(const uint8_t *bytes, int32_t length) noexcept
{
    KIV_ASSERT_TEXT("kiv_lib", bytes != nullptr || length <= 0, "bytes");
    const size_t count = size_of(length);
    char *text = allocate_text(3 * count);
    if (text == nullptr)
        return nullptr;
    char *end = text;
    for (size_t i = 0; i < count; ++i) {
        end = append_hex(end, bytes[i]);
        const bool ends_group = i % 2 == 0 || i + 2 == count;
        if (ends_group && i + 1 < count)
            *end++ = '.';
    }
    *end = '\0';
    return text;
}

void print_type_net(const uint8_t *bytes, int32_t length) noexcept
{
    print_and_free(print_type_net_to_str(bytes, length));
}

char *print_interface_to_str(const kiv_interface *intf) noexcept
{
    KIV_ASSERT("kiv_lib", intf);
    report_unnamed(__func__);
    return create_str("");
}

char *print_interface_range_to_str(const kiv_interface_range *ranges) noexcept
{
    KIV_ASSERT("kiv_lib", ranges);
    report_unnamed(__func__);
    constexpr std::string_view separator = " , ";
    const uint32_t count = std::min<uint32_t>(ranges->count, KIV_INTERFACE_RANGES);
    char *text = allocate_text(separator.size() * count);
    if (text == nullptr)
        return nullptr;
    char *end = text;
    for (uint32_t i = 1; i < count; ++i)
        end = append(end, separator);
    *end = '\0';
    return text;
}

void print_guid(const kiv_guid *guid) noexcept
{
    KIV_ASSERT("kiv_lib", guid);
    std::array<char, 2 * sizeof guid->data4> data4;
    char *end = data4.data();
    for (const uint8_t byte : guid->data4)
        end = append_hex(end, byte);
    const std::string_view tail(data4.data(), data4.size());
    print_joined({"{", hex(guid->data1, 8), "-", hex(guid->data2, 4), "-", hex(guid->data3, 4), "-",
                  tail.substr(0, 4), "-", tail.substr(4), "}"});
}

void print_if_index_list(const kiv_if_index_list *list) noexcept
{
    KIV_ASSERT("kiv_lib", list);
    KIV_ASSERT_TEXT("kiv_lib", list->indices != nullptr || list->length <= 0, "list->indices");
    print_built([list](standard_output &out) {
        append_all(out, {"Ifindex list length: ", digits(list->length), "\n"});
        for (const uint32_t index : std::span(list->indices, size_of(list->length)))
            append_all(out, {hex(index), " "});
        out.append('\n');
    });
}

// The functions that print what the one with the same name and _to_str makes.
#define PRINTER(name, parameter)                                                                   \
    void name(parameter value) noexcept                                                            \
    {                                                                                              \
        print_and_free(name##_to_str(value));                                                      \
    }
PRINTER(print_integer, int32_t)
PRINTER(print_intx, uint32_t)
PRINTER(print_u_long_long, int64_t)
PRINTER(print_integer_range, const kiv_int_range *)
PRINTER(print_ipv4, const kiv_inet_addr *)
PRINTER(print_ipv6, const kiv_inet_addr *)
PRINTER(print_inet_addr, const kiv_inet_addr *)
PRINTER(print_ipv4_prefix, const kiv_inet_prefix *)
PRINTER(print_ipv6_prefix, const kiv_inet_prefix *)
PRINTER(print_ip, uint32_t)
PRINTER(print_community, const kiv_community *)
PRINTER(print_type_lid, const uint8_t *)
PRINTER(print_interface, const kiv_interface *)
PRINTER(print_interface_range, const kiv_interface_range *)
#undef PRINTER
