#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <kiv/kiv_lib.h>

#include "golden.h"
#include "memory_shortage.h"
#include "observed.h"

namespace {

using kiv_tests::printed;

struct release {
    void operator()(char *text) const { std::free(text); }
};

std::string taken(char *text)
{
    const std::unique_ptr<char, release> owner(text);
    return text == nullptr ? "(null)" : text;
}

kiv_inet_addr address_of(uint32_t family, std::initializer_list<uint8_t> bytes)
{
    kiv_inet_addr address{family, {}};
    std::ranges::copy(bytes, address.address);
    return address;
}

// A list with as many pairs as wanted, as a caller builds it.
class range_list {
public:
    explicit range_list(size_t pairs) : words_(1 + 2 * std::max<size_t>(pairs, 1)) {}

    kiv_int_multi_range *get() { return reinterpret_cast<kiv_int_multi_range *>(words_.data()); }
    void set(size_t pair, kiv_int_range range)
    {
        words_[1 + 2 * pair] = range.low;
        words_[2 + 2 * pair] = range.high;
    }

private:
    std::vector<int32_t> words_;
};

const std::array<uint8_t, 9> bytes{0x49, 0x00, 0x01, 0xff, 0x0a, 0x80, 0x05, 0xc8, 0x7f};

const kiv_inet_addr dotted = address_of(KIV_INET_IPV4, {192, 0, 2, 1, 99});
const kiv_inet_addr colons =
    address_of(2, {0x20, 1, 0xd, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5});
const kiv_inet_addr mapped =
    address_of(0, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 255, 255, 255, 255});

// What is printed is the text, for both of each pair.
struct value_case {
    const char *text;
    std::function<char *()> to_str;
    std::function<void()> print;
};

#define VALUE(text, function, ...)                                                                 \
    {                                                                                              \
        text, [] { return function##_to_str(__VA_ARGS__); }, [] { function(__VA_ARGS__); }         \
    }

const kiv_int_range widest{INT32_MIN, INT32_MAX};
const kiv_inet_prefix dotted_prefix{dotted, 32};
const kiv_inet_prefix colons_prefix{colons, INT32_MIN};
constexpr std::array<uint8_t, 4> loopback{127, 0, 0, 1};
const kiv_community community{65535, 0};

const value_case values[] = {
    VALUE("-2147483648", print_integer, INT32_MIN),
    VALUE("0x0", print_intx, 0),
    VALUE("0xffffffff", print_intx, UINT32_MAX),
    VALUE("-9223372036854775808", print_u_long_long, INT64_MIN),
    VALUE("-2147483648 - 2147483647", print_integer_range, &widest),
    VALUE("0x000aff", print_hex, "\0\x0a\xff", 3),
    VALUE("0x", print_hex, bytes.data(), 0),
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
    VALUE("", print_type_net, bytes.data(), 0),
    VALUE("", print_type_net, nullptr, INT32_MIN),
    VALUE("49", print_type_net, bytes.data(), 1),
    VALUE("49.00.01", print_type_net, bytes.data(), 3),
    VALUE("49.0001.ff.0a", print_type_net, bytes.data(), 5),
    VALUE("49.0001.ff0a.8005.c8.7f", print_type_net, bytes.data(), 9),
};

TEST(FormattedValues, AreFormattedAndPrintedAlike)
{
    for (const value_case &row : values) {
        EXPECT_EQ(taken(row.to_str()), row.text);
        EXPECT_EQ(printed(row.print), row.text);
    }
}

TEST(FormattedValues, OfBytesHaveAnyLength)
{
    for (const size_t length : {511U, 512U, 1024U, 100'000U}) {
        const std::vector<uint8_t> content(length, 0xA7);
        std::string expected = "0x";
        for (size_t i = 0; i < length; ++i)
            expected += "a7";
        const auto count = static_cast<int32_t>(length);
        EXPECT_TRUE(taken(print_hex_to_str(content.data(), count)) == expected) << length;
        EXPECT_TRUE(printed([&] { print_hex(content.data(), count); }) == expected) << length;
        const std::string net = taken(print_type_net_to_str(content.data(), count));
        EXPECT_EQ(net.size(), 2 * length + (length + 1) / 2) << length;
    }
}

TEST(PrintedStrings, AreWholeAtAnyLength)
{
    void (*const printers[])(const char *) = {print_string, print_user_at_host, print_dns_name,
                                              print_inet_name};
    for (const size_t length : {0U, 1023U, 1024U, 100'000U}) {
        const std::string text(length, '%');
        EXPECT_TRUE(taken(create_str(text.c_str())) == text) << length;
        for (const auto print : printers)
            EXPECT_TRUE(printed([&] { print(text.c_str()); }) == text) << length;
    }
    EXPECT_EQ(create_str(nullptr), nullptr);
    for (const auto print : printers)
        EXPECT_EQ(printed([&] { print(nullptr); }), "");
}

TEST(PrintedRanges, ArePrintedWhole)
{
    constexpr size_t many = 100'000;
    range_list list(many);
    std::string decimal;
    for (size_t i = 0; i < many; ++i) {
        const auto number = static_cast<int32_t>(i);
        list.set(i, {number, -number});
        decimal += (i == 0 ? " " : ", ") + std::to_string(number) + " - " + std::to_string(-number);
    }
    list.get()->count = static_cast<int32_t>(many);
    EXPECT_TRUE(printed([&] { print_integer_multi_range(list.get()); }) == decimal);
    EXPECT_TRUE(
        printed([&] { print_hex_multi_range(list.get()); }).ends_with("0x1869f - 0xfffe7961"));
    for (const int32_t count : {-1, INT32_MIN}) {
        list.get()->count = count;
        EXPECT_EQ(printed([&] { print_integer_multi_range(list.get()); }), "") << count;
        EXPECT_EQ(printed([&] { print_hex_multi_range(list.get()); }), "") << count;
    }
}

TEST(UnnamedInterfaces, HaveNoNames)
{
    const kiv_interface interface {
        5
    };
    std::string text = "unset";
    EXPECT_EQ(printed([&] { text = taken(print_interface_to_str(&interface)); }),
              "print_interface_to_str: modified/stubbed!\n");
    EXPECT_EQ(text, "");
    kiv_interface_range ranges{};
    for (const uint32_t count : {0U, 1U, 2U, 33U, 34U, UINT32_MAX}) {
        ranges.count = count;
        std::string expected = "print_interface_range_to_str: modified/stubbed!\n";
        for (uint32_t separators = 1; separators < std::min(count, 33U); ++separators)
            expected += " , ";
        EXPECT_EQ(printed([&] { print_interface_range(&ranges); }), expected) << count;
    }
}

TEST(ValuePrinters, KeepTheirForm)
{
    golden::expect(
        TEST_DATA_DIR "/pinfo/values.txt", printed([] {
            const kiv_int_range range{0x10, -1};
            std::printf("hex range:");
            print_hex_range(&range);
            range_list list(2);
            list.set(0, {1, 3});
            list.set(1, {7, 9});
            for (int32_t count = 0; count <= 2; ++count) {
                list.get()->count = count;
                std::printf("%d ranges:", count);
                print_integer_multi_range(list.get());
                std::printf("|");
                print_hex_multi_range(list.get());
                std::printf("|\n");
            }
            const kiv_guid guid{0xABC, 0x4455, 0x7, {0, 1, 2, 0xBB, 0xC, 0xDD, 0xE, 0xF}};
            std::printf("guid:");
            print_guid(&guid);
            const uint32_t indices[] = {0, 0x1080000, UINT32_MAX};
            for (const int32_t length : {3, 0, -3}) {
                const kiv_if_index_list index_list{length, indices};
                std::printf("\n");
                print_if_index_list(&index_list);
            }
            const kiv_if_index_list without_indices{0, nullptr};
            print_if_index_list(&without_indices);
        }));
}

// What is still in the stream's buffer is not at the other end of the pipe.
TEST(ValuePrinters, FlushStandardOutputBehindTheCallersText)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    const kiv_int_range range{1, 2};
    const kiv_guid guid{};
    const kiv_if_index_list list{0, nullptr};
    const struct {
        std::function<void()> print;
        const char *text;
    } cases[] = {
        {[] { print_string("text"); }, ">text"},
        {[] { print_integer(7); }, ">7"},
        {[&] { print_hex_range(&range); }, ">0x1 - 0x2\n"},
        {[&] { print_guid(&guid); }, ">{00000000-0000-0000-0000-000000000000}"},
        {[&] { print_if_index_list(&list); }, ">Ifindex list length: 0\n\n"},
    };
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    std::vector<std::string> received;
    for (const auto &row : cases) {
        std::printf(">");
        row.print();
        std::array<char, 128> room;
        const ssize_t count = read(ends[0], room.data(), room.size());
        received.emplace_back(room.data(), static_cast<size_t>(std::max<ssize_t>(count, 0)));
    }
    dup2(saved, STDOUT_FILENO);
    for (size_t i = 0; i < received.size(); ++i)
        EXPECT_EQ(received[i], cases[i].text);
    for (const int descriptor : {saved, ends[0], ends[1]})
        close(descriptor);
}

TEST(FormattedValues, AreNotThereWhereMemoryIsShort)
{
    SKIP_UNLESS_MEMORY_CAN_BE_SHORT();
    const kiv_interface_range ranges{2, {}};
    for (const value_case &row : values) {
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
    const auto failure = [](const char *function, const char *expression) {
        return kiv_tests::failure("kiv_lib", function, expression);
    };
    EXPECT_DEATH(print_integer_range(nullptr), failure("print_integer_range_to_str", "range"));
    EXPECT_DEATH(print_hex(nullptr, 1), failure("print_hex_to_str", "bytes"));
    EXPECT_DEATH(print_hex_multi_range(nullptr), failure("print_hex_multi_range", "ranges"));
    const kiv_if_index_list nowhere{1, nullptr};
    EXPECT_DEATH(print_if_index_list(&nowhere), failure("print_if_index_list", "list->indices"));
}

} // namespace
