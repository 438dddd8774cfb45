#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <kiv/common.h>

#include "observed.h"

namespace {

using kiv_tests::bytes_of;

TEST(BoundedStrings, AcceptNullEverywhere)
{
    char text[4] = "abc";
    EXPECT_EQ(robust_strlen(nullptr), 0U);
    robust_strncat(text, nullptr, sizeof text);
    EXPECT_STREQ(text, "abc");
    robust_strncpy(text, nullptr, sizeof text);
    EXPECT_EQ(bytes_of(text), std::string("\0bc\0", 4)) << "null stores one NUL";
    std::strcpy(text, "abc");
    robust_strcpy(text, nullptr);
    EXPECT_STREQ(text, "");
    robust_strcpy(nullptr, "a");
    robust_strncpy(nullptr, "a", 2);
    robust_strncat(nullptr, "a", 2);
    EXPECT_EQ(robust_strcasecmp(nullptr, nullptr), -1);
    EXPECT_EQ(robust_strcasecmp("a", nullptr), -1);
    EXPECT_EQ(robust_strcasecmp(nullptr, "a"), 1);
    EXPECT_EQ(convert_str_to_uint64(nullptr), 0U);
    EXPECT_EQ(convert_str_to_uint(nullptr), 0U);
    EXPECT_EQ(convert_str_to_int(nullptr), 0);
    char *trimmed = text;
    EXPECT_EQ(strtrim(nullptr, &trimmed), 0);
    EXPECT_EQ(trimmed, nullptr);
    EXPECT_EQ(strtrim("a", nullptr), 0);
}

TEST(BoundedStrings, AreCutTerminatedAndFilledWithinTheSize)
{
    const struct {
        decltype(&robust_strncpy) function;
        const char *source;
        int size;
        const char *bytes; // of the whole buffer, with '.' for NUL
    } cases[] = {
        {robust_strncpy, "vwxyz", 4, "vwx.####"}, {robust_strncpy, "x", 6, "x.....##"},
        {robust_strncpy, "x", 1, ".bc.####"},     {robust_strncpy, "x", 0, "abc.####"},
        {robust_strncpy, "x", -1, "abc.####"},    {robust_strncat, "defgh", 6, "abcde.##"},
        {robust_strncat, "x", 4, "abc.####"},     {robust_strncat, "x", 3, "abc.####"},
        {robust_strncat, "x", -1, "abc.####"},
    };
    for (const auto &row : cases) {
        char text[] = {'a', 'b', 'c', '\0', '#', '#', '#', '#'};
        row.function(text, row.source, static_cast<size_t>(row.size));
        std::string bytes = bytes_of(text);
        std::ranges::replace(bytes, '\0', '.');
        EXPECT_EQ(bytes, row.bytes) << row.source << " in " << row.size;
    }
}

TEST(BoundedStrings, AreComparedWithoutCase)
{
    EXPECT_EQ(robust_strcasecmp("ABC", "abc"), 0);
    EXPECT_LT(robust_strcasecmp("abc", "ABD"), 0);
}

TEST(Converters, ReadEachItsOwnBase)
{
    EXPECT_EQ(convert_str_to_uint64("10"), 16U);
    EXPECT_EQ(convert_str_to_uint64("0x1f"), 31U);
    EXPECT_EQ(convert_str_to_uint64("ffffffffffffffff"), UINT64_MAX);
    EXPECT_EQ(convert_str_to_uint64("none"), 0U);
    EXPECT_EQ(convert_str_to_uint(" 4294967295x"), UINT32_MAX);
    EXPECT_EQ(convert_str_to_uint("010"), 10U);
    EXPECT_EQ(convert_str_to_int("010"), 8);
    EXPECT_EQ(convert_str_to_int("-0x10"), -16);
}

TEST(Trim, CutsSpacesOnlyAndWarnsAboutLongTexts)
{
    const std::string warning = "Error: String length bigger than STRING_BUFFER_SIZE\n";
    const struct {
        std::string source;
        std::string trimmed;
        std::string printed;
    } cases[] = {
        {"", "", ""},
        {"   ", "", ""},
        {"  a b  ", "a b", ""},
        {" \ta\n ", "\ta\n", ""},
        {' ' + std::string(1023, 'a'), std::string(1023, 'a'), ""},
        {' ' + std::string(5000, 'a'), std::string(5000, 'a'), warning},
    };
    for (const auto &row : cases) {
        char unset;
        char *out = &unset;
        int length = -1;
        EXPECT_EQ(kiv_tests::printed([&] { length = strtrim(row.source.c_str(), &out); }),
                  row.printed);
        const std::unique_ptr<char, decltype(&std::free)> owner(out, std::free);
        EXPECT_EQ(length, static_cast<int>(row.trimmed.size()));
        EXPECT_EQ(out == nullptr, row.trimmed.empty()) << row.source;
        EXPECT_EQ(out == nullptr ? "" : out, row.trimmed);
    }
}

} // namespace
