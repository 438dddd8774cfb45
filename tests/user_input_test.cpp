#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

#include <kiv/kiv_lib.h>

#include "observed.h"
#include "terminal.h"

namespace {

kiv_user_input_info question(int32_t max_len)
{
    kiv_user_input_info info{};
    info.prompt = "Name? ";
    info.default_input = "nobody";
    info.max_len = max_len;
    return info;
}

std::string answer(const kiv_user_input_info &info)
{
    std::array<char, KIV_USER_INPUT_MAX> output;
    output.fill('x');
    EXPECT_EQ(kiv_user_input_get(&info, output.data()), 0U);
    return output.data();
}

class UserInput : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(user);
        user.without_echo();
        dup2(user.slave(), STDIN_FILENO);
    }

    // The answer, and what was printed on the way to it.
    std::string ask(const kiv_user_input_info &info)
    {
        std::string given;
        printed = kiv_tests::printed([&] { given = answer(info); });
        return given;
    }

    terminal::pseudo_terminal user;
    std::string printed;
};

TEST_F(UserInput, TakesALineThatFitsAndIsNotRefused)
{
    const auto only_yes = [](const char *line) { return std::strcmp(line, "yes") == 0 ? 1 : 2; };
    const struct {
        std::string typed;
        int32_t max_len;
        int (*validator)(const char *);
        std::string given;
        std::string printed;
    } cases[] = {
        {"1234567\n", 8, nullptr, "1234567", "Name? "},
        {"\n", 8, nullptr, "nobody", "Name? "},
        {"\n", 4, nullptr, "nob", "Name? "}, // cut to the room
        {"12345678\n1234567\n", 8, nullptr, "1234567", "Name? Input string too long\nName? "},
        {"no\n\nyes\n", 256, only_yes, "yes", "Name? Name? Name? "},
    };
    for (const auto &row : cases) {
        kiv_user_input_info info = question(row.max_len);
        info.validator = row.validator;
        user.type(row.typed);
        EXPECT_EQ(ask(info), row.given);
        EXPECT_EQ(printed, row.printed);
    }
}

TEST_F(UserInput, EndsWithTheDefaultAtTheEndOfTheInput)
{
    kiv_user_input_info info = question(8);
    info.validator = [](const char *) { return 0; };
    info.debug = 1;
    user.type("no\n\x04");
    EXPECT_EQ(ask(info), "nobody");
    EXPECT_EQ(printed, "Name? Select returned with status 1\nInput:no:\ngetline return value = 3\n"
                       "Name? Select returned with status 1\nInput::\ngetline return value = -1\n");
}

volatile sig_atomic_t signals_left = 5;
const terminal::pseudo_terminal *typist;

// The first signal ends the wait before the line is read, the others come while it is read.
TEST_F(UserInput, IsNotEndedBySignals)
{
    typist = &user;
    struct sigaction action = {};
    action.sa_handler = [](int) {
        signals_left = signals_left - 1;
        if (signals_left == 0)
            typist->type("later\n");
    };
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{{0, 5'000}, {0, 5'000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    EXPECT_EQ(ask(question(8)), "later");
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
}

TEST_F(UserInput, RefusesARequestForTooMuch)
{
    kiv_user_input_info info = question(257);
    info.debug = 1;
    char output[] = "kept";
    const auto get = [&] { EXPECT_EQ(kiv_user_input_get(&info, output), 0x40540001U); };
    EXPECT_EQ(kiv_tests::printed(get), "Max length too high\n");
    EXPECT_STREQ(output, "kept");
    info = question(1);
    EXPECT_DEATH(kiv_user_input_get(&info, output),
                 kiv_tests::failure("kiv_lib", "kiv_user_input_get", "info->max_len > 1"));
}

class UserInputFromAPipe : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(pipe(ends_), 0);
        dup2(ends_[0], STDIN_FILENO);
    }

    void write(const std::string &text) const
    {
        EXPECT_EQ(::write(ends_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    int ends_[2];
};

// Lines that came together, with nobody to write more: the second must not wait for a third.
TEST_F(UserInputFromAPipe, TakesLinesThatWereReadAhead)
{
    const std::string long_line(100'000, 'l');
    std::thread writer([&] { write(long_line + "\none\ntwo\n"); });
    EXPECT_EQ(answer(question(8)), "one");
    writer.join();
    EXPECT_EQ(answer(question(8)), "two");
}

// The time-out ends the wait; the line is read all the same.
TEST_F(UserInputFromAPipe, IsReadAfterTheTimeOut)
{
    int printed[2];
    ASSERT_EQ(pipe(printed), 0);
    const int saved = dup(STDOUT_FILENO);
    dup2(printed[1], STDOUT_FILENO);
    setvbuf(stdout, nullptr, _IONBF, 0);
    std::thread user([&] {
        std::string text;
        for (char character; !text.ends_with("status 0\n") && read(printed[0], &character, 1) == 1;)
            text += character;
        write("late\n");
    });
    kiv_user_input_info info = question(8);
    info.timeout = 1;
    info.debug = 1;
    EXPECT_EQ(answer(info), "late");
    dup2(saved, STDOUT_FILENO);
    user.join();
}

} // namespace
