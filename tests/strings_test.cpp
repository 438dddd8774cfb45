#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <kiv/common.h>

namespace {

// The bytes of a buffer after a call, each one, so that filling and overruns show.
template <size_t Size>
std::string bytes_of(const char (&buffer)[Size])
{
    return {buffer, Size};
}

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
    EXPECT_EQ(convert_str_to_uint64(nullptr), 0U);
    EXPECT_EQ(convert_str_to_uint(nullptr), 0U);
    EXPECT_EQ(convert_str_to_int(nullptr), 0);
}

TEST(BoundedStrings, CopyCutsTerminatesAndFillsWithinTheSize)
{
    char text[8] = "#######";
    text[7] = '#';
    robust_strncpy(text, "abcdef", 4);
    EXPECT_EQ(bytes_of(text), std::string("abc\0####", 8));
    robust_strncpy(text, "x", 6);
    EXPECT_EQ(bytes_of(text), std::string("x\0\0\0\0\0##", 8));
    robust_strncpy(text, "y", 1);
    EXPECT_EQ(bytes_of(text), std::string("\0\0\0\0\0\0##", 8));
    for (const int size : {0, -1})
        robust_strncpy(text + 6, "z", static_cast<size_t>(size));
    EXPECT_EQ(text[6], '#');
    robust_strcpy(text, "abcdef");
    EXPECT_STREQ(text, "abcdef");
}

TEST(BoundedStrings, AppendCutsAtTheWholeBuffer)
{
    char text[8] = "abc";
    text[6] = text[7] = '#';
    robust_strncat(text, "defgh", 6);
    EXPECT_EQ(bytes_of(text), std::string("abcde\0##", 8));
    robust_strncat(text, "x", 6);
    EXPECT_STREQ(text, "abcde") << "full";
    robust_strncat(text, "x", 3);
    EXPECT_STREQ(text, "abcde") << "longer than its size";
    robust_strncat(text, "x", static_cast<size_t>(-1));
    EXPECT_STREQ(text, "abcde") << "negative size";
}

TEST(BoundedStrings, CompareWithoutCaseAndOrderNull)
{
    EXPECT_EQ(robust_strcasecmp(nullptr, nullptr), -1);
    EXPECT_EQ(robust_strcasecmp("a", nullptr), -1);
    EXPECT_EQ(robust_strcasecmp(nullptr, "a"), 1);
    EXPECT_EQ(robust_strcasecmp("ABC", "abc"), 0);
    EXPECT_LT(robust_strcasecmp("abc", "ABD"), 0);
}

TEST(Converters, ReadEachItsOwnBase)
{
    EXPECT_EQ(convert_str_to_uint64("10"), 16U);
    EXPECT_EQ(convert_str_to_uint64("0x1f"), 31U);
    EXPECT_EQ(convert_str_to_uint64("ffffffffffffffff"), UINT64_MAX);
    EXPECT_EQ(convert_str_to_uint(" 4294967295x"), UINT32_MAX);
    EXPECT_EQ(convert_str_to_uint("010"), 10U);
    EXPECT_EQ(convert_str_to_int("010"), 8);
    EXPECT_EQ(convert_str_to_int("-0x10"), -16);
    EXPECT_EQ(convert_str_to_int("12"), 12);
    EXPECT_EQ(convert_str_to_uint64("none"), 0U);
    EXPECT_EQ(convert_str_to_uint("none"), 0U);
}

struct trimmed {
    int length;
    bool null;
    std::string text;
};

trimmed trim(const std::string &source)
{
    char unset;
    char *out = &unset;
    const int length = strtrim(source.c_str(), &out);
    const std::unique_ptr<char, decltype(&std::free)> owner(out, std::free);
    return {length, out == nullptr, out == nullptr ? "" : out};
}

TEST(Trim, CutsSpacesOnly)
{
    for (const char *blank : {"", " ", "   "}) {
        EXPECT_EQ(trim(blank).length, 0) << '"' << blank << '"';
        EXPECT_TRUE(trim(blank).null) << '"' << blank << '"';
    }
    EXPECT_EQ(trim("  a b  ").text, "a b");
    EXPECT_EQ(trim("  a b  ").length, 3);
    EXPECT_EQ(trim(" \ta\n ").text, "\ta\n");
    char unset;
    char *out = &unset;
    EXPECT_EQ(strtrim(nullptr, &out), 0);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(strtrim("a", nullptr), 0);
}

TEST(Trim, WarnsAboutLongTextsAndKeepsThemWhole)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(trim(' ' + std::string(1023, 'a')).length, 1023);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

    testing::internal::CaptureStdout();
    EXPECT_EQ(trim(' ' + std::string(5000, 'a')).text, std::string(5000, 'a'));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Error: String length bigger than STRING_BUFFER_SIZE\n");
}

} // namespace
