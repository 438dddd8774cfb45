#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <kiv/kiv_lib.h>

#include "memory_shortage.h"
#include "observed.h"

namespace {

using kiv_tests::printed;

std::string taken(char *text)
{
    const std::unique_ptr<char, decltype(&std::free)> owner(text, std::free);
    return text == nullptr ? "(null)" : text;
}

const std::array<uint8_t, 9> bytes{0x49, 0x00, 0x01, 0xff, 0x0a, 0x80, 0x05, 0xc8, 0x7f};

const kiv_inet_addr dotted{KIV_INET_IPV4, {192, 0, 2, 1, 99}};
const kiv_inet_addr colons{2, {0x20, 1, 0xd, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5}};
const kiv_inet_addr mapped{0, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 255, 255, 255, 255}};

// What is printed is the text, for both of a pair; some printers stand alone.
struct value_case {
    const char *text;
    std::function<char *()> to_str;
    std::function<void()> print;
};

#define VALUE(text, function, ...)                                                                 \
    {                                                                                              \
        text, [] { return function##_to_str(__VA_ARGS__); }, [] { function(__VA_ARGS__); }         \
    }

#define PRINTED(text, function, ...)                                                               \
    {                                                                                              \
        text, nullptr, [] { function(__VA_ARGS__); }                                               \
    }

const kiv_int_range widest{INT32_MIN, INT32_MAX};
const kiv_inet_prefix dotted_prefix{dotted, 32};
const kiv_inet_prefix colons_prefix{colons, INT32_MIN};
constexpr std::array<uint8_t, 4> loopback{127, 0, 0, 1};
const kiv_community community{65535, 0};
const kiv_guid guid{0xABC, 0x4455, 0x7, {0, 1, 2, 0xBB, 0xC, 0xDD, 0xE, 0xF}};
const uint32_t indices[] = {0, 0x1080000, UINT32_MAX};
const kiv_if_index_list three_indices{3, indices};
const kiv_if_index_list fewer_than_none{-3, nullptr};
int32_t two_ranges[] = {2, 1, 3, 7, -1};
int32_t no_ranges[] = {-1, 1, 3};

kiv_int_multi_range *list(int32_t *words)
{
    return reinterpret_cast<kiv_int_multi_range *>(words);
}

const value_case values[] = {
    VALUE("0x0", print_intx, 0),
    VALUE("0xffffffff", print_intx, UINT32_MAX),
    VALUE("-9223372036854775808", print_u_long_long, INT64_MIN),
    VALUE("-2147483648 - 2147483647", print_integer_range, &widest),
    VALUE("0x000aff", print_hex, "\0\x0a\xff", 3),
    VALUE("0x", print_hex, nullptr, -1),
    VALUE("192.0.2.1", print_ipv4, &dotted),
    VALUE("32.1.13.184", print_ipv4, &colons),
    VALUE("2001:db8::5", print_ipv6, &colons),
    VALUE("::ffff:255.255.255.255", print_ipv6, &mapped),
    VALUE("192.0.2.1", print_inet_addr, &dotted),
    VALUE("::ffff:255.255.255.255", print_inet_addr, &mapped),
    VALUE("192.0.2.1/32", print_ipv4_prefix, &dotted_prefix),
    VALUE("2001:db8::5/-2147483648", print_ipv6_prefix, &colons_prefix),
    VALUE("127.0.0.1", print_ip, std::bit_cast<uint32_t>(loopback)),
    VALUE("65535:0", print_community, &community),
    VALUE("4900.01ff.0a80.05-200", print_type_lid, bytes.data()),
    VALUE("", print_type_net, nullptr, INT32_MIN),
    VALUE("49.0001.ff.0a", print_type_net, bytes.data(), 5),
    VALUE("49.0001.ff0a.8005.c8.7f", print_type_net, bytes.data(), 9),
    PRINTED("0x80000000 - 0x7fffffff\n", print_hex_range, &widest),
    PRINTED(" 1 - 3, 7 - -1", print_integer_multi_range, list(two_ranges)),
    PRINTED(" 0x1 - 0x3, 0x7 - 0xffffffff", print_hex_multi_range, list(two_ranges)),
    PRINTED("", print_hex_multi_range, list(no_ranges)),
    PRINTED("{00000abc-4455-0007-0001-02bb0cdd0e0f}", print_guid, &guid),
    PRINTED("Ifindex list length: 3\n0 1080000 ffffffff \n", print_if_index_list, &three_indices),
    PRINTED("Ifindex list length: -3\n\n", print_if_index_list, &fewer_than_none),
};

TEST(FormattedValues, AreFormattedAndPrintedAlike)
{
    for (const value_case &row : values) {
        EXPECT_EQ(printed(row.print), row.text);
        EXPECT_EQ(row.to_str ? taken(row.to_str()) : row.text, row.text);
    }
}

TEST(FormattedValues, OfAnyLengthAreWhole)
{
    constexpr int32_t many = 100'000;
    const std::string text(many, '%');
    EXPECT_TRUE(taken(create_str(text.c_str())) == text);
    EXPECT_EQ(create_str(nullptr), nullptr);
    for (const auto print : {print_string, print_user_at_host, print_dns_name, print_inet_name}) {
        EXPECT_TRUE(printed([&] { print(text.c_str()); }) == text);
        EXPECT_EQ(printed([&] { print(nullptr); }), "");
    }

    std::string hex = "0x";
    std::string decimal_ranges;
    std::vector<int32_t> ranges{many};
    for (int32_t i = 0; i < many; ++i) {
        hex += "25";
        ranges.insert(ranges.end(), {i, -i});
        decimal_ranges += (i == 0 ? " " : ", ") + std::to_string(i) + " - " + std::to_string(-i);
    }
    EXPECT_TRUE(printed([&] { print_hex(text.data(), many); }) == hex);
    const auto *net = reinterpret_cast<const uint8_t *>(text.data());
    EXPECT_EQ(taken(print_type_net_to_str(net, many)).size(), 2 * many + many / 2);
    EXPECT_TRUE(printed([&] { print_integer_multi_range(list(ranges.data())); }) == decimal_ranges);
    EXPECT_TRUE(printed([&] {
                    print_hex_multi_range(list(ranges.data()));
                }).ends_with("0x1869f - 0xfffe7961"));
}

TEST(UnnamedInterfaces, HaveNoNames)
{
    const kiv_interface interface {
        5
    };
    EXPECT_EQ(printed([&] { EXPECT_EQ(taken(print_interface_to_str(&interface)), ""); }),
              "print_interface_to_str: modified/stubbed!\n");
    kiv_interface_range ranges{};
    for (const uint32_t count : {0U, 2U, 33U, UINT32_MAX}) {
        ranges.count = count;
        std::string expected = "print_interface_range_to_str: modified/stubbed!\n";
        for (uint32_t separators = 1; separators < std::min(count, 33U); ++separators)
            expected += " , ";
        EXPECT_EQ(printed([&] { print_interface_range(&ranges); }), expected) << count;
    }
}

// What is still in the stream's buffer is not at the other end of the pipe.
TEST(ValuePrinters, FlushStandardOutputBehindTheCallersText)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    std::array<char, 128> room{};
    std::printf(">");
    print_integer(7);
    const ssize_t first = read(ends[0], room.data(), room.size());
    std::printf(">");
    const kiv_int_range range{1, 2};
    print_hex_range(&range);
    const ssize_t second = read(ends[0], room.data() + 2, room.size() - 2);
    dup2(saved, STDOUT_FILENO);
    EXPECT_EQ(first, 2);
    EXPECT_EQ(second, 11);
    EXPECT_STREQ(room.data(), ">7>0x1 - 0x2\n");
    for (const int descriptor : {saved, ends[0], ends[1]})
        close(descriptor);
}

TEST(FormattedValues, AreNotThereWhereMemoryIsShort)
{
    SKIP_UNLESS_MEMORY_CAN_BE_SHORT();
    const kiv_interface_range ranges{2, {}};
    for (const value_case &row : values) {
        if (!row.to_str)
            continue;
        const char *text = "unset";
        EXPECT_EQ(printed([&] {
                      const kiv_tests::memory_shortage shortage;
                      text = row.to_str();
                      row.print();
                  }),
                  "");
        EXPECT_EQ(text, nullptr) << row.text;
    }
    EXPECT_EQ(printed([&] {
                  const kiv_tests::memory_shortage shortage;
                  print_interface_range(&ranges);
              }),
              "print_interface_range_to_str: modified/stubbed!\n");
    const kiv_tests::memory_shortage shortage;
    EXPECT_EQ(create_str("text"), nullptr);
}

TEST(FormatAssertions, NameTheParameterAndTheFile)
{
    EXPECT_DEATH(print_integer_range(nullptr),
                 kiv_tests::failure("kiv_lib", "print_integer_range_to_str", "range"));
    const kiv_if_index_list nowhere{1, nullptr};
    EXPECT_DEATH(print_if_index_list(&nowhere),
                 kiv_tests::failure("kiv_lib", "print_if_index_list", "list->indices"));
}

} // namespace
