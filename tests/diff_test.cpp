// The differences of two texts.

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <kiv/extras.h>
#include <kiv/kiv_exec_lib.h>

#include "diff_rule.h"
#include "golden.h"
#include "memory_shortage.h"

namespace {

std::string difference(const std::string &old_text, const std::string &new_text)
{
    const std::unique_ptr<char, decltype(&std::free)> text(
        kiv_diff_to_str(old_text.c_str(), new_text.c_str()), std::free);
    return text.get();
}

void expect_rule(const std::string &old_text, const std::string &new_text)
{
    const std::string expected = diff_rule::difference(old_text, new_text);
    const bool is_same = kiv_is_diff_same(old_text.c_str(), new_text.c_str()) == 1;
    EXPECT_EQ(is_same, expected.empty()) << "of\n" << old_text << "and\n" << new_text;
    EXPECT_EQ(difference(old_text, new_text), expected) << "of\n"
                                                        << old_text << "and\n"
                                                        << new_text;
}

TEST(Diff, ShowsWhatIsLeftOverOnEachLevel)
{
    const struct {
        const char *name;
        std::string old_text;
        std::string new_text;
        std::string printed;
    } cases[] = {
        {"blank lines", "a\n\n \t\v\n  b\n", "\n\f\r\na\n  b\n  \n", ""},
        {"no newline at the end", "a\n b", "a\n b\n", "    + b\n"},
        {"a setting", "interface x\n  shutdown\n", "interface x\n  no shutdown\n",
         "     interface x\n    -  shutdown\n    +  no shutdown\n"},
        {"deep lines are of one level", "a\n  b\n     c\n         d\n", "a\n  b\n         d\n",
         "     a\n       b\n    -     c\n"},
        {"blanks count at both ends", "a \n  b\na\n", "a \n   b\na\n",
         "     a \n    -  b\n    +   b\n"},
        {"blocks whole", "x\n", "a\n  b\n\n    c\nx\n", "    +a\n    +  b\n    +    c\n"},
        {"blocks in another order", "a\n  1\nb\n  2\n", "b\n  2\na\n  1\n", ""},
        {"what is new comes last", "a\nb\nc\n", "n\na\nm\nc\n", "    -b\n    +n\n    +m\n"},
        {"the first of two equal lines goes with the first", "x\n  1\nx\n  2\n", "x\n  2\n",
         "     x\n    -  1\n    +  2\n    -x\n    -  2\n"},
        {"lines below nothing", "    c\n  b\n    d\n", "  b\n    e\na\n",
         "    -    c\n       b\n    -    d\n    +    e\n    +a\n"},
        {"a third level without a second", "a\n    c\n  b\n", "a\n  b\n    c\n",
         "     a\n    -    c\n       b\n    +    c\n"},
        {"control characters are text", "\x01\n\xE9\n", "\xE9\n", "    -\x01\n"},
    };
    for (const auto &each : cases) {
        EXPECT_EQ(difference(each.old_text, each.new_text), each.printed) << each.name;
        expect_rule(each.old_text, each.new_text);
    }
}

TEST(Diff, PrintsOnStandardOutputWhateverIsCaptured)
{
    kiv_set_redir2buf();
    testing::internal::CaptureStdout();
    std::fputs("before\n", stdout);
    kiv_diff("a\n", "b\n");
    kiv_diff(nullptr, "c\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "before\n    -a\n    +b\n    +c\n");
    EXPECT_EQ(kiv_get_buf(), nullptr);
    kiv_reset_redir2buf();
    EXPECT_EQ(kiv_is_diff_same(nullptr, "\n"), 1);
}

using lines = std::vector<std::string>;

std::string joined(const lines &all)
{
    return std::accumulate(all.begin(), all.end(), std::string());
}

// Lines of all levels, of which many or few are equal.
struct random_texts {
    size_t below(size_t bound) { return random() % bound; }

    lines draw(size_t count, size_t variety)
    {
        lines drawn(count);
        for (std::string &line : drawn)
            line = std::string(2 * below(3), ' ') + std::to_string(below(variety)) + '\n';
        return drawn;
    }

    // Repeats what is there, takes some away, changes the order, adds an oddity.
    void edit(lines &all)
    {
        static const char *const oddities[] = {"\n", "  \t\n", " z\n", "     y\n", "\ta\n", "a \n"};
        const auto at = all.begin() + static_cast<ptrdiff_t>(below(all.size()));
        switch (below(4)) {
        case 0:
            all.insert(at, std::string(all[below(all.size())]));
            break;
        case 1:
            all.erase(at, at + std::min<ptrdiff_t>(all.end() - at, 3));
            break;
        case 2:
            std::rotate(at, at + (all.end() - at) / 2, all.end());
            break;
        default:
            all.insert(at, oddities[below(std::size(oddities))]);
        }
    }

    std::mt19937 random{1}; // NOLINT: the same texts in every run
};

TEST(Diff, FollowsTheRuleOnAnyTexts)
{
    random_texts texts;
    for (int round = 0; round < 5'000 && !HasFailure(); ++round) {
        // Now and then what is taken for a text of another order, and what follows.
        const bool is_long = round % 50 == 0;
        lines all = is_long ? texts.draw(300 + texts.below(300), round % 100 == 0 ? 1000 : 150)
                            : texts.draw(texts.below(20), 1 + texts.below(6));
        const std::string old_text = joined(all);
        if (is_long)
            std::shuffle(all.begin(), all.begin() + 200, texts.random);
        for (size_t edits = texts.below(6); edits > 0 && !all.empty(); --edits)
            texts.edit(all);
        std::string new_text = joined(all);
        if (texts.below(8) == 0)
            new_text = new_text.substr(0, new_text.find_last_of('\n'));
        expect_rule(old_text, new_text);
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

constexpr size_t many = 200'000; // even, and prime to the steps

std::string numbered(const std::string &before, size_t step)
{
    std::string all;
    for (size_t i = 0; i < many; ++i)
        all.append(before).append(std::to_string(i * step % many)).append("\n");
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
    constexpr size_t groups = 2 * many + 4;
    const auto [held_old, held_new] = held_up(groups);
    const std::string in_order = numbered("a", 1);
    const struct {
        const char *name;
        std::string old_text;
        std::string new_text;
        size_t lines_printed;
    } cases[] = {
        {"held up by a huge block", held_old, held_new, groups + groups / 32 * 32 + 1 + 10 * many},
        {"wholly different", in_order, numbered("b", 1), 2 * many},
        {"another order", in_order, numbered("a", 7919), 0},
        {"one line, often", repeated("a\n", many), repeated("a\n", many - 1) + "b\n", 2},
        {"below one line", "a\n" + repeated("  b\n", many), "a\n" + repeated("  c\n", many),
         2 * many + 1},
        {"blocks by turns", repeated("a\n  x\na\n  y\n", many / 4),
         repeated("a\n  y\na\n  x\n", many / 4), many * 3 / 2},
        {"lines below nothing", repeated("    a\n  b\n", many / 2), "", many},
        {"white lines", repeated("  \n", many) + "a\n", repeated("\n    \n", many) + "b\n", 2},
        {"a long line", repeated("aaaaaaaa", many) + '\n', repeated("aaaaaaaa", many) + "b\n", 2},
    };
    for (const auto &each : cases) {
        const std::string printed = difference(each.old_text, each.new_text);
        EXPECT_EQ(golden::occurrences(printed, "\n"), each.lines_printed) << each.name;
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
