// The differences of two texts.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <kiv/extras.h>
#include <kiv/kiv_exec_lib.h>

#include "diff_rule.h"
#include "memory_shortage.h"

namespace {

std::string difference(const std::string &old_text, const std::string &new_text)
{
    const std::unique_ptr<char, decltype(&std::free)> text(
        kiv_diff_to_str(old_text.c_str(), new_text.c_str()), std::free);
    return text.get();
}

std::string shown(const std::string &old_text, const std::string &new_text)
{
    return "-- old\n" + old_text + "-- new\n" + new_text + "--\n";
}

TEST(Diff, ShowsWhatIsLeftOverOnEachLevel)
{
    const struct {
        const char *name;
        std::string old_text;
        std::string new_text;
        std::string printed;
    } cases[] = {
        {"nothing", "", "", ""},
        {"blank lines", "a\n\n \t\v\n  b\n", "\n\f\r\na\n  b\n  \n", ""},
        {"no newline at the end", "a\n b", "a\n b\n", "    + b\n"},
        {"a setting", "interface x\n  shutdown\n", "interface x\n  no shutdown\n",
         "     interface x\n    -  shutdown\n    +  no shutdown\n"},
        {"once instead of twice", "a\nb\na\n", "a\nb\n", "    -a\n"},
        {"deep lines are of one level", "a\n  b\n     c\n         d\n", "a\n  b\n         d\n",
         "     a\n       b\n    -     c\n"},
        {"one blank is none", "a\n b\n", "a\n", "    - b\n"},
        {"blanks count at both ends", "a\n  b\n", "a\n   b\n", "     a\n    -  b\n    +   b\n"},
        {"blanks at the end", "a \n", "a\n", "    -a \n    +a\n"},
        {"blocks whole", "x\n", "a\n  b\n\n    c\nx\n", "    +a\n    +  b\n    +    c\n"},
        {"blocks in another order", "a\n  1\nb\n  2\n", "b\n  2\na\n  1\n", ""},
        {"what is new comes last", "a\nb\nc\n", "n\na\nm\nc\n", "    -b\n    +n\n    +m\n"},
        {"the first of two equal lines goes with the first", "x\n  1\nx\n  2\n", "x\n  2\n",
         "     x\n    -  1\n    +  2\n    -x\n    -  2\n"},
        {"a like that comes later", "x\n  1\ny\n", "y\nx\n  2\n", "     x\n    -  1\n    +  2\n"},
        {"lines below nothing", "    c\n  b\n    d\n", "  b\n    e\na\n",
         "    -    c\n       b\n    -    d\n    +    e\n    +a\n"},
        {"a third level without a second", "a\n    c\n  b\n", "a\n  b\n    c\n",
         "     a\n    -    c\n       b\n    +    c\n"},
        {"control characters are text", "\x01\n\xE9\n", "\xE9\n", "    -\x01\n"},
        {"a longer block behind an equal one", "a\n  b\n", "a\n  b\n  c\n", "     a\n    +  c\n"},
    };
    for (const auto &each : cases) {
        EXPECT_EQ(difference(each.old_text, each.new_text), each.printed) << each.name;
        EXPECT_EQ(diff_rule::difference(each.old_text, each.new_text), each.printed) << each.name;
        EXPECT_EQ(kiv_is_diff_same(each.old_text.c_str(), each.new_text.c_str()),
                  each.printed.empty() ? 1 : 0)
            << each.name;
    }
}

TEST(Diff, TakesNullForAnEmptyText)
{
    EXPECT_EQ(kiv_is_diff_same(nullptr, nullptr), 1);
    EXPECT_EQ(kiv_is_diff_same(nullptr, "\n"), 1);
    EXPECT_EQ(kiv_is_diff_same("a\n", nullptr), 0);
    testing::internal::CaptureStdout();
    kiv_diff(nullptr, "a\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "    +a\n");
}

TEST(Diff, PrintsOnStandardOutputWhateverIsCaptured)
{
    kiv_set_redir2buf();
    testing::internal::CaptureStdout();
    std::fputs("before\n", stdout);
    kiv_diff("a\n", "b\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "before\n    -a\n    +b\n");
    EXPECT_EQ(kiv_get_buf(), nullptr);
    kiv_reset_redir2buf();
}

// Texts with many equal lines on all levels.
class random_texts {
public:
    explicit random_texts(unsigned seed) : random_(seed) {}

    size_t below(size_t bound) { return random_() % bound; }

    std::string line()
    {
        static const char *const oddities[] = {"\n", "  \t\n", " z\n", "     y\n", "\ta\n", "a \n"};
        if (below(8) == 0)
            return oddities[below(std::size(oddities))];
        const size_t level = below(3);
        return std::string(2 * level, ' ') + static_cast<char>('a' + below(variety_)) + '\n';
    }

    std::vector<std::string> lines(size_t most)
    {
        variety_ = 1 + below(6);
        std::vector<std::string> drawn(below(most + 1));
        for (std::string &each : drawn)
            each = line();
        return drawn;
    }

    void edit(std::vector<std::string> &drawn)
    {
        for (size_t edits = below(6); edits > 0; --edits) {
            const auto at = drawn.begin() + static_cast<ptrdiff_t>(below(drawn.size() + 1));
            const auto last = drawn.end() - at;
            switch (below(4)) {
            case 0:
                drawn.insert(at, line());
                break;
            case 1:
                drawn.erase(at, at + std::min<ptrdiff_t>(last, 3));
                break;
            case 2:
                std::rotate(at, at + last / 2, drawn.end());
                break;
            default:
                if (last > 0)
                    *at = line();
            }
        }
    }

private:
    std::mt19937 random_;
    size_t variety_ = 1;
};

std::string joined(const std::vector<std::string> &lines)
{
    std::string text;
    for (const std::string &line : lines)
        text += line;
    return text;
}

TEST(Diff, FollowsTheRuleOnAnyTexts)
{
    random_texts texts(1);
    for (int round = 0; round < 20000 && !HasFailure(); ++round) {
        std::vector<std::string> lines = texts.lines(round % 10 == 0 ? 200 : 20);
        std::string old_text = joined(lines);
        if (texts.below(4) == 0)
            lines = texts.lines(20);
        texts.edit(lines);
        std::string new_text = joined(lines);
        for (std::string *text : {&old_text, &new_text}) {
            if (!text->empty() && texts.below(8) == 0)
                text->pop_back();
        }
        const std::string expected = diff_rule::difference(old_text, new_text);
        EXPECT_EQ(difference(old_text, new_text), expected) << shown(old_text, new_text);
        EXPECT_EQ(kiv_is_diff_same(old_text.c_str(), new_text.c_str()), expected.empty() ? 1 : 0)
            << shown(old_text, new_text);
    }
}

// Many different lines in other orders: what is taken for a text of another order, and what
// follows.
TEST(Diff, FollowsTheRuleOnTextsInOtherOrders)
{
    std::mt19937 random(2); // NOLINT: the same texts in every run
    for (int round = 0; round < 150 && !HasFailure(); ++round) {
        std::vector<std::string> lines(300 + random() % 300);
        const unsigned variety = round % 2 == 0 ? 1000 : 150;
        for (std::string &line : lines)
            line = std::string(random() % 3 * 2, ' ') + std::to_string(random() % variety) + '\n';
        const std::string old_text = joined(lines);
        const auto middle = lines.begin() + static_cast<ptrdiff_t>(random() % lines.size());
        if (round % 3 == 0)
            std::rotate(lines.begin(), middle, lines.end());
        else
            std::shuffle(lines.begin(), middle, random);
        const std::string new_text = joined(lines);
        EXPECT_EQ(difference(old_text, new_text), diff_rule::difference(old_text, new_text))
            << shown(old_text, new_text);
    }
}

std::string repeated(const std::string &text, size_t count)
{
    std::string all;
    all.reserve(text.size() * count);
    for (size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

// Growing memory again and again for runs of strays would show.
TEST(Diff, TakesTimeInProportionWhateverTheTexts)
{
    const auto seconds = [](size_t runs) {
        const std::string old_text = repeated(repeated("a\n", 964) + "c\n", runs);
        const std::string new_text = repeated(repeated("b\n", 964) + "c\n", runs);
        const auto start = std::chrono::steady_clock::now();
        kiv_is_diff_same(old_text.c_str(), new_text.c_str());
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    seconds(10);
    EXPECT_LT(seconds(640), 64 * (seconds(40) + 0.002)) << "16 times the lines";
}

constexpr size_t many = 200'000; // even, and prime to the steps

std::string numbered(const std::string &before, size_t step)
{
    std::string all;
    for (size_t i = 0; i < many; ++i)
        all += before + std::to_string(i * step % many) + '\n';
    return all;
}

// Two texts for which one side is looked at again and again while the other goes on: a huge block
// behind what the other text has in an order of its own, in groups of the size of a batch.
std::pair<std::string, std::string> held_up(size_t count)
{
    std::string old_text;
    std::string new_text;
    for (size_t i = 0; i < count; ++i)
        old_text += 'x' + std::to_string(i) + '\n';
    for (size_t i = 0; i < count; ++i) {
        old_text += (i % 32 < 16 ? 'w' : 'y') + std::to_string(i) + '\n';
        new_text += (i % 32 < 16 ? 'w' : 'z') + std::to_string(i) + '\n';
    }
    return {old_text, new_text + "huge\n" + repeated("  a\n", 10 * many)};
}

// What is quadratic, or recurses into what it is given, does not come back from these in time.
TEST(Diff, IsLinearWhateverTheTexts)
{
    struct hard_case {
        const char *name;
        std::string old_text;
        std::string new_text;
        size_t lines_printed;
    };
    constexpr size_t groups = 2 * many + 4;
    const auto [held_old, held_new] = held_up(groups);
    const hard_case cases[] = {
        {"held up by a huge block", held_old, held_new, groups + groups / 32 * 32 + 1 + 10 * many},
        {"wholly different", numbered("a", 1), numbered("b", 1), 2 * many},
        {"another order", numbered("a", 1), numbered("a", 7919), 0},
        {"backwards", numbered("a", 1), numbered("a", many - 1), 0},
        {"one line, often", repeated("a\n", many), repeated("a\n", many - 1) + "b\n", 2},
        {"below one line", "a\n" + repeated("  b\n", many), "a\n" + repeated("  c\n", many),
         2 * many + 1},
        {"two lines by turns", repeated("a\nb\n", many / 2), repeated("b\na\n", many / 2), 0},
        {"blocks by turns", repeated("a\n  x\na\n  y\n", many / 4),
         repeated("a\n  y\na\n  x\n", many / 4), many * 3 / 2},
        {"lines below nothing", repeated("    a\n  b\n", many / 2), "", many},
        {"white lines", repeated("  \n", many) + "a\n", repeated("\n    \n", many) + "b\n", 2},
        {"a long line", std::string(64 << 20, 'a') + '\n', std::string(64 << 20, 'a') + "b\n", 2},
    };
    for (const hard_case &each : cases) {
        const std::string printed = difference(each.old_text, each.new_text);
        EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'),
                  static_cast<ptrdiff_t>(each.lines_printed))
            << each.name;
    }
}

TEST(Diff, SaysThatMemoryIsShort)
{
    const std::string old_text = numbered("a", 1);
    const std::string new_text = numbered("b", 1);
    SKIP_UNLESS_MEMORY_CAN_BE_SHORT();
    for (const size_t size : {0U, 10'000U, 1'000'000U}) {
        const kiv_tests::memory_shortage shortage(size);
        errno = 0;
        EXPECT_EQ(kiv_diff_to_str(old_text.c_str(), new_text.c_str()), nullptr);
        EXPECT_EQ(errno, ENOMEM);
        errno = 0;
        EXPECT_EQ(kiv_is_diff_same(old_text.c_str(), new_text.c_str()), 0);
        EXPECT_EQ(errno, ENOMEM);
    }
}

} // namespace
