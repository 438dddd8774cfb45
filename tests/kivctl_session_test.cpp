// kivctl session as a user runs it.

#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "golden.h"
#include "switch_root.h"
#include "terminal.h"

namespace {

using switch_root::outcome;
using switch_root::read_file;
using switch_root::write_file;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::string program = "'" KIVCTL_PATH "' session ";
constexpr const char *running_file = "/ubex/cfg/running.cfg";
const std::string script = "/sbin/kivScript.sh";

class SessionCommand : public testing::Test {
protected:
    void SetUp() override
    {
        switch_root::require();
        unlink(running_file);
    }

    static outcome run(const std::string &arguments, const std::string &input = {})
    {
        return switch_root::run(program + arguments, input);
    }

    static std::string configuration()
    {
        return switch_root::run("/usr/sbin/kiv.bin -c 'show running-config'").output;
    }

    // What the session starts in place of the shell.
    static void install_script(const std::string &text)
    {
        unlink(script.c_str());
        write_file(script, "#!/bin/sh\n" + text);
        ASSERT_EQ(chmod(script.c_str(), 0755), 0);
    }
};

const std::string wrong_word =
    "wrong\n^\n% unknown word \"wrong\"; expected: configure, end, exit, show\n";

TEST_F(SessionCommand, RunsEachLineAndGoesOnAfterThoseThatFail)
{
    const outcome result =
        run("--marker --deadline 60 -", "conf t\r\nvsan 7\n\nexit\n! x\nend\nwrong\n"
                                        "show running-config peer\nshow running-config");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, StartsWith(wrong_word + "% only the peer"));
    EXPECT_THAT(result.output, EndsWith("\nvsan 7\n"));
    EXPECT_EQ(result.error, "kivctl: standard input:7: the command is not understood\n"
                            "kivctl: standard input:8: the command failed\n");
    write_file("/ubex/lines", "show version\nexit\nexit\nshow version\n");
    const outcome quiet = run("/ubex/lines");
    EXPECT_EQ(quiet.status, 0);
    EXPECT_EQ(quiet.error, "");
    const std::string version = quiet.output.substr(0, quiet.output.size() / 2);
    EXPECT_THAT(version, StartsWith("Shell: "));
    EXPECT_EQ(quiet.output, version + version);

    const std::string xml = run("--marker --xml", "show version\nwrong\n").output;
    EXPECT_THAT(xml, StartsWith("<show command=\"show version\">\n<line>Shell: "));
    EXPECT_THAT(xml, EndsWith("</show>\n" + wrong_word));
}

TEST_F(SessionCommand, KeepsInStepForTenThousandCommands)
{
    std::string lines;
    for (int i = 0; i < 5'000; ++i)
        lines += "! KIV_CALLBACK_ERROR\nshow " + std::to_string(i) + "\n";
    const outcome result = run("--marker --json", lines);
    EXPECT_EQ(golden::occurrences(result.output, "\n"), 10'000U);
    EXPECT_THAT(
        result.output,
        StartsWith("{\"line\": 1, \"command\": \"! KIV_CALLBACK_ERROR\", \"status\": "
                   "\"success\", \"output\": \"\"}\n{\"line\": 2, \"command\": \"show 0\", "
                   "\"status\": \"parse error\", \"output\": \"show 0\\u000a     ^\\u000a"));
    EXPECT_THAT(result.output.substr(result.output.rfind("{\"line")),
                StartsWith("{\"line\": 10000, \"command\": \"show 4999\", \"status\": \"parse "
                           "error\", \"output\": \"show 4999\\u000a"));
}

TEST_F(SessionCommand, RunsABatchUpToTheLineThatFails)
{
    const outcome done = run("--conf --marker", "switchname a\n\nvsan 7\nname b\nexit\nvsan 8\n");
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.output + done.error, "");
    EXPECT_THAT(configuration(), EndsWith("\nswitchname a\nvsan 7\n  name b\nvsan 8\n"));
    EXPECT_EQ(run("--conf --json", "vsan 9\n").output,
              "{\"status\": \"success\", \"output\": \"\"}\n");

    const std::string lines = "switchname c\nboot-delay 5000\nswitchname d\n";
    const outcome wrong = run("--conf --marker", lines);
    EXPECT_EQ(wrong.status, 1);
    EXPECT_EQ(wrong.output, "boot-delay 5000\n           ^\n% value \"5000\" is out of bounds; "
                            "expected: <int 0..3600>\n");
    EXPECT_EQ(wrong.error,
              "kivctl: standard input: the command is not understood: boot-delay 5000\n");
    EXPECT_THAT(configuration(), HasSubstr("\nswitchname c\n"));
    EXPECT_THAT(run("--conf --json", lines).output,
                testing::AllOf(StartsWith("{\"status\": \"parse error\", \"output\": \"boot-delay"),
                               EndsWith("\", \"failed_command\": \"boot-delay 5000\"}\n")));
}

TEST_F(SessionCommand, SaysWhyThereIsNoAnswer)
{
    const struct {
        const char *script;
        const char *options;
        const char *output;
        const char *error;
    } cases[] = {
        {"read start; read line; echo part; echo 'no tree' >&2", "--marker", "part\n",
         "kivctl: standard input:1: no answer\nno tree\n"
         "kivctl: session: the shell gave no answer\n"},
        {"read start; read line; printf part; read more", "", "part",
         "kivctl: standard input:1: no answer\n"
         "kivctl: session: the shell gave no answer, or paused in it; --marker waits\n"},
        {"read start; read line; printf part; read more", "--marker --json --deadline 1",
         "{\"line\": 1, \"command\": \"one\", \"status\": \"no answer\", \"output\": \"\"}\n",
         "kivctl: session: the shell gave no answer\n"},
        {"read start; read line; echo 'no tree' >&2", "--conf --marker",
         "Configuration mode is currently disabled\n",
         "no tree\nkivctl: standard input: the command failed: configure terminal\n"},
    };
    for (const auto &row : cases) {
        install_script(row.script);
        const outcome result = run(row.options, "one\ntwo\n");
        EXPECT_EQ(result.status, 1) << row.script;
        EXPECT_EQ(result.output, row.output) << row.script;
        EXPECT_THAT(result.error, HasSubstr(row.error)) << row.script;
    }
}

TEST_F(SessionCommand, RefusesWhatCannotBeRun)
{
    const struct {
        std::string arguments;
        std::string input;
        int status;
        std::string error;
    } cases[] = {
        {"--conf --xml", "", 2, "kivctl session: --xml does not go with --conf\nusage: "},
        {"--deadline 0", "", 2, "kivctl session: --deadline takes 1 to 1000000 seconds\nusage: "},
        {"/ubex/none", "", 1, "kivctl: /ubex/none: No such file or directory\n"},
        {"<&-", "", 1, "kivctl: standard input: Bad file descriptor\n"},
        {"--marker >/dev/full", "show version\n", 1,
         "kivctl: standard output: No space left on device\n"},
        {"--marker --conf", std::string("vsan 1\n\0\n", 9), 1,
         "kivctl: standard input:2: holds a NUL byte\n"},
    };
    for (const auto &row : cases) {
        const outcome result = run(row.arguments, row.input);
        EXPECT_EQ(result.status, row.status) << row.arguments;
        EXPECT_THAT(result.error, StartsWith(row.error)) << row.arguments;
    }
    EXPECT_EQ(read_file(running_file), "");
}

// The shell answers the second command with what the test writes.
TEST_F(SessionCommand, ShowsOnATerminalHowLongItTakesUntilThereIsMoreToSay)
{
    install_script("next() { line=; while [ -z \"$line\" ]; do read line || exit 0; done; }\n"
                   "next; printf KIV_CALLBACK_SUCCESS; next; cat /ubex/answer\n"
                   "while next; do printf KIV_CALLBACK_SUCCESS; done\n");
    ASSERT_EQ(mkfifo("/ubex/answer", 0600), 0);
    const terminal::pseudo_terminal screen;
    ASSERT_TRUE(screen);
    std::thread user([&] {
        EXPECT_EQ(run("--marker 2>" + screen.name(), "one\ntwo\n").status, 1);
        EXPECT_EQ(write(screen.slave(), "#", 1), 1);
    });
    const std::string erase = "\r\033[K";
    const std::string shown = erase + "kivctl: 1 commands, 1 s";
    EXPECT_EQ(screen.seen(shown.size()), shown);
    write_file("/ubex/answer", "KIV_CALLBACK_ERROR");
    std::string rest;
    while (!rest.ends_with('#') && !HasFailure())
        rest += screen.seen(1);
    EXPECT_THAT(rest, EndsWith(erase + "kivctl: standard input:2: the command failed\r\n#"));
    user.join();
}

} // namespace
