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

constexpr const char *end_of_input = "\x04";

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

TEST_F(UserInput, TakesALineThatFits)
{
    user.type("1234567\n");
    EXPECT_EQ(ask(question(8)), "1234567");
    EXPECT_EQ(printed, "Name? ");
    user.type("\n");
    EXPECT_EQ(ask(question(8)), "nobody");
    EXPECT_EQ(ask((user.type("\n"), question(4))), "nob") << "cut to the room, and terminated";
}

TEST_F(UserInput, AsksAgainForALineThatIsTooLongOrRefused)
{
    user.type("12345678\n1234567\n");
    EXPECT_EQ(ask(question(8)), "1234567");
    EXPECT_EQ(printed, "Name? Input string too long\nName? ");

    kiv_user_input_info info = question(256);
    info.validator = [](const char *line) { return std::strcmp(line, "yes") == 0 ? 1 : 2; };
    user.type("no\n\nyes\n");
    EXPECT_EQ(ask(info), "yes") << "the empty line was refused too";
    EXPECT_EQ(printed, "Name? Name? Name? ");
}

TEST_F(UserInput, EndsWithTheDefaultAtTheEndOfTheInput)
{
    kiv_user_input_info info = question(8);
    info.validator = [](const char *) { return 0; };
    info.debug = 1;
    user.type(std::string("no\n") + end_of_input);
    EXPECT_EQ(ask(info), "nobody");
    EXPECT_EQ(printed, "Name? Select returned with status 1\nInput:no:\ngetline return value = 3\n"
                       "Name? Select returned with status 1\nInput::\ngetline return value = -1\n");
}

int signal_pipe[2];

// The first signal ends the wait before the line is read, the others come while it is read.
TEST_F(UserInput, IsNotEndedBySignals)
{
    ASSERT_EQ(pipe(signal_pipe), 0);
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
    std::thread typist([this] {
        char byte;
        for (int signals = 0; signals < 5; ++signals)
            EXPECT_EQ(read(signal_pipe[0], &byte, 1), 1);
        user.type("later\n");
    });
    struct sigaction action = {};
    action.sa_handler = [](int) {
        if (write(signal_pipe[1], "", 1) != 1)
            _exit(99);
    };
    sigaction(SIGALRM, &action, nullptr);
    pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
    const itimerval often{{0, 5'000}, {0, 5'000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    EXPECT_EQ(ask(question(8)), "later");
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    typist.join();
}

TEST_F(UserInput, RefusesARequestForTooMuch)
{
    kiv_user_input_info info = question(257);
    std::array<char, 300> output{"kept"};
    testing::internal::CaptureStdout();
    EXPECT_EQ(kiv_user_input_get(&info, output.data()), 0x40540001U);
    info.debug = 1;
    EXPECT_EQ(kiv_user_input_get(&info, output.data()), 0x40540001U);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Max length too high\n");
    EXPECT_STREQ(output.data(), "kept");

    const auto failure = [](const char *expression) {
        return kiv_tests::failure("kiv_lib", "kiv_user_input_get", expression);
    };
    info = question(1);
    EXPECT_DEATH(kiv_user_input_get(&info, output.data()), failure("info->max_len > 1"));
    info.prompt = nullptr;
    EXPECT_DEATH(kiv_user_input_get(&info, output.data()), failure("info->prompt"));
}

// Lines that came together, with nobody to write more: the second must not wait for a third.
TEST(UserInputFromAPipe, TakesLinesThatWereReadAhead)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    dup2(ends[0], STDIN_FILENO);
    const std::string long_line(100'000 - 1, 'l');
    std::thread writer([&] {
        const std::string text = long_line + "\none\ntwo\n";
        EXPECT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    });
    EXPECT_EQ(answer(question(8)), "one");
    writer.join();
    EXPECT_EQ(answer(question(8)), "two");
}

// The time-out ends the wait; the line is read all the same.
TEST(UserInputFromAPipe, IsReadAfterTheTimeOut)
{
    int ends[2];
    int printed[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(pipe(printed), 0);
    dup2(ends[0], STDIN_FILENO);
    const int saved = dup(STDOUT_FILENO);
    dup2(printed[1], STDOUT_FILENO);
    setvbuf(stdout, nullptr, _IONBF, 0);
    std::thread user([&] {
        std::string text;
        for (char character; text.find("status 0\n") == std::string::npos;) {
            if (read(printed[0], &character, 1) == 1)
                text += character;
        }
        EXPECT_EQ(write(ends[1], "late\n", 5), 5);
    });
    kiv_user_input_info info = question(8);
    info.timeout = 1;
    info.debug = 1;
    const std::string given = answer(info);
    dup2(saved, STDOUT_FILENO);
    user.join();
    EXPECT_EQ(given, "late");
}

} // namespace
