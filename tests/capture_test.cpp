// Output that is caught in memory.

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <kiv/kiv_exec_lib.h>

#include "memory_shortage.h"

namespace {

class Capture : public testing::Test {
protected:
    void SetUp() override { kiv_set_redir2buf(); }

    void TearDown() override
    {
        char *text = kiv_get_buf();
        kiv_reset_redir2buf();
        std::free(text);
    }

    static void expect_captured(const std::string &text)
    {
        ASSERT_NE(kiv_get_buf(), nullptr);
        EXPECT_EQ(kiv_get_buf(), text);
        EXPECT_EQ(kiv_get_buf_len(), static_cast<int>(text.size()));
    }
};

TEST_F(Capture, CollectsUntilItIsReset)
{
    EXPECT_EQ(kiv_get_buf(), nullptr);
    EXPECT_EQ(kiv_buf_printf("%s", ""), 0);
    expect_captured("");
    std::string all;
    for (const int size : {1023, 1, 1024, 3, 100'000, 7, 5'000'000}) {
        const std::string piece(static_cast<size_t>(size), static_cast<char>('a' + size % 26));
        EXPECT_EQ(kiv_buf_printf("%s", piece.c_str()), size);
        all += piece;
        expect_captured(all);
    }

    char *text = kiv_get_buf();
    kiv_reset_redir2buf();
    EXPECT_EQ(kiv_is_redir2buf(), 0);
    EXPECT_EQ(kiv_get_buf(), nullptr);
    EXPECT_EQ(kiv_get_buf_len(), 0);
    EXPECT_TRUE(text == all) << "is the caller's";
    std::free(text);
    testing::internal::CaptureStdout();
    EXPECT_EQ(kiv_buf_printf("%s-%d", "a", 5), 3);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "a-5");
    EXPECT_EQ(kiv_get_buf(), nullptr);
}

TEST_F(Capture, GoesOnBehindABufferOfTheCaller)
{
    EXPECT_EQ(kiv_set_buf(nullptr, 5), nullptr);
    EXPECT_EQ(kiv_get_buf_len(), 0);
    // Neither room nor an end behind the text.
    char *mine = static_cast<char *>(std::malloc(4));
    std::string("mine").copy(mine, 4);
    EXPECT_EQ(kiv_set_buf(mine, 4), mine);
    EXPECT_EQ(kiv_get_buf_len(), 4);
    kiv_buf_printf("+%d", 1);
    expect_captured("mine+1");
    char *grown = kiv_get_buf();
    EXPECT_EQ(kiv_set_buf(nullptr, 2), grown);
    expect_captured("mine+1");
    kiv_set_buf(grown, 2);
    kiv_buf_printf("x");
    expect_captured("mix");
    kiv_set_buf(kiv_get_buf(), -1);
    kiv_buf_printf("y");
    expect_captured("y");
}

TEST_F(Capture, TakesItsOwnTextNulCharactersAndTheErrorThatIsPrinted)
{
    std::string expected = "ab";
    kiv_buf_printf("ab");
    for (int i = 0; i < 10; ++i) {
        kiv_buf_printf("[%s|%s]", kiv_get_buf(), kiv_get_buf());
        const std::string before = expected;
        expected.append("[").append(before).append("|").append(before).append("]");
        expect_captured(expected);
    }
    kiv_set_buf(kiv_get_buf(), 0);
    kiv_buf_printf("a%cb", '\0');
    EXPECT_EQ(kiv_get_buf_len(), 3);
    EXPECT_EQ(std::memcmp(kiv_get_buf(), "a\0b", 4), 0);
    std::free(kiv_get_buf());
    kiv_reset_redir2buf();
    kiv_set_redir2buf();
    errno = ENOENT;
    kiv_buf_printf("%5000s%m", "");
    expect_captured(std::string(5000, ' ') + std::strerror(ENOENT));
}

TEST_F(Capture, KeepsWhatItHasWhenMoreCannotBe)
{
    kiv_buf_printf("kept");
    EXPECT_EQ(kiv_buf_printf("%lc", static_cast<wint_t>(0x7FFFFFFF)), -1);
    EXPECT_EQ(errno, EILSEQ);
    expect_captured("kept");
    // What would be too long is refused before the text is touched, so it need not be there.
    char *text = kiv_get_buf();
    kiv_set_buf(text, INT_MAX - 4);
    EXPECT_EQ(kiv_buf_printf("12345"), -1);
    EXPECT_EQ(errno, EOVERFLOW);
    EXPECT_EQ(kiv_get_buf_len(), INT_MAX - 4);
    kiv_set_buf(text, 4);
    expect_captured("kept");
}

TEST_F(Capture, KeepsWhatItHasWhenMemoryIsShort)
{
    SKIP_UNLESS_MEMORY_CAN_BE_SHORT();
    kiv_buf_printf("kept");
    {
        const kiv_tests::memory_shortage shortage;
        EXPECT_EQ(kiv_buf_printf("%*s", 100 << 10, ""), -1);
        EXPECT_EQ(errno, ENOMEM);
    }
    expect_captured("kept");
}

} // namespace
