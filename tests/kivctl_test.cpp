// kivctl as a user runs it: what it prints and how it ends.

#include <string>

#include <gmock/gmock.h>

#include "switch_root.h"
#include "usage.h"

namespace {

using switch_root::outcome;
using switch_root::read_file;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class Kivctl : public switch_root::recorded {
protected:
    static outcome run(const std::string &arguments)
    {
        return switch_root::run(program + arguments);
    }

    // Runs each line, and expects that the shell gets the arguments.
    static void
    expect_recorded(const std::vector<std::pair<std::string, std::vector<std::string>>> &cases)
    {
        for (const auto &[line, words] : cases) {
            EXPECT_EQ(run(line).status, 0) << line;
            EXPECT_EQ(recording(), arguments(words)) << line;
        }
    }

    static inline const std::string program = "'" KIVCTL_PATH "' ";
};

TEST_F(Kivctl, RunsACommandDirectly)
{
    expect_recorded({
        {"run show version", {"kiv", "-nRc", "show version"}},
        {"run 'show $(x) \"q\"'", {"kiv", "-nRc", "show $(x) \"q\""}},
        {"run -- show --help", {"kiv", "-nRc", "show --help"}},
        {"run --boot --peer --version 1.2 show -x", {"kivboot", "-nRc", "show -x", "-V", "1.2"}},
    });
    plan("exit 3");
    const outcome failed = run("run x");
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.error, HasSubstr("kivctl: the shell ended with status 3\n"));
    plan("signal 9");
    EXPECT_EQ(run("run --json x").output, "recorder output\n{\"raw_status\": 9, \"signal\": 9}\n");
}

TEST_F(Kivctl, RunsACommandThroughARequest)
{
    const std::string shell = "/usr/sbin/kiv.bin";
    const std::string overlong = "/ubex/" + std::string(200, 'x');
    expect_recorded({
        {"run --out /ubex/o --err /ubex/e -e 1 -q -2 show version",
         {shell, "-c", "show version", "-e", "1", "-q", "-2", "-o", "0"}},
        {"run --peer -o 1 x", {shell, "-c", "x", "-L", "-e", "0", "-q", "0", "-o", "1"}},
        {"run --shell '/usr/sbin/kiv.bin -x' show",
         {shell, "-x", "-c", "show", "-e", "0", "-q", "0", "-o", "0"}},
        {"run --out " + overlong + " --out /ubex/abcdef --out /ubex/x y",
         {shell, "-c", "y", "-e", "0", "-q", "0", "-o", "0"}},
    });
    EXPECT_EQ(read_file("/ubex/o"), "recorder output\n");
    EXPECT_EQ(read_file("/ubex/e"), "recorder error\n");
    EXPECT_EQ(read_file("/ubex/x"), "recorder output\nrecorder error\n");
    EXPECT_EQ(read_file("/ubex/xbcdef"), "");
    EXPECT_THAT(run("run --debug x").output, HasSubstr("Command str:/usr/sbin/kiv.bin  -c"));
    plan("exit 1");
    const outcome failed = run("run --out /ubex/o x");
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.error, "kivctl: 0x40540001: Command failed\n");
    EXPECT_EQ(run("run --json -e 0 " + std::string(300, 'x')).output,
              "{\"code\": \"0x4054001E\", \"text\": \"Command line is too long\"}\n");
    // The pipe ends with the command, which outlives kivctl.
    EXPECT_THAT(run("run --json --peer --background x | cat").output,
                HasSubstr("{\"code\": \"0x00000000\""));
}

TEST_F(Kivctl, RefusesWhatTheCommandInterpreterWouldActOn)
{
    const std::pair<std::string, std::string> cases[] = {
        {"-e 0 'show \"q\"'", "COMMAND@'\"' of show \"q\"\n"},
        {"-e 0 'x\ny'", "COMMAND@'\\x0a' of x\\x0ay\n"},
        {"--out '/ubex/my file' x", "--out@' ' of /ubex/my file\n"},
        {"--out /ubex/x --err '&1' x", "--err@'&' of &1\n"},
        {"-e 0 --peer --version \"'\" x", "--version@''' of '\n"},
    };
    for (auto [options, error] : cases) {
        const outcome refused = run("run " + options);
        EXPECT_EQ(refused.status, 2) << options;
        error.replace(error.find('@'), 1, ": a command line cannot hold the character ");
        EXPECT_EQ(refused.error, "kivctl run: " + error);
    }
    EXPECT_TRUE(recording().empty());
    EXPECT_EQ(run("run --out /ubex/\xC3\xBC_1.a-b,c:d@e%f=g+h \"it's\" '>!'").status, 0);
    EXPECT_EQ(read_file("/ubex/\xC3\xBC_1.a-b,c:d@e%f=g+h"), "recorder output\nrecorder error\n");
}

TEST_F(Kivctl, HandsFilesOverAndSaysWhatIsWrongWithThem)
{
    switch_root::write_file("/ubex/file", "");
    expect_recorded({
        {"config apply -- /ubex/file", {"kiv", "-nRr", "/ubex/file"}},
        {"script /ubex/file", {"kiv", "-nRf", "/ubex/file"}},
        {"script --boot /ubex/file", {"kivboot", "-nRf", "/ubex/file"}},
        {"config show -o '/ubex/a\"b\\ c'",
         {"kiv", "-nRc", R"(show running-config > "/ubex/a\"b\\ c" )"}},
    });
    // 134 characters and the quotes around them are what there is room for.
    const std::string longest = "/ubex/ " + std::string(127, 'x');
    EXPECT_EQ(run("config show -o '" + longest + "'").status, 0);
    EXPECT_THAT(run("config show -o '" + longest + "x'").error, EndsWith("x: name is too long\n"));
    for (const std::string command : {"config apply", "script", "script --boot"})
        EXPECT_EQ(run(command + " /ubex/none").error,
                  "kivctl: /ubex/none: No such file or directory\n");
    switch_root::install_shell("");
    EXPECT_EQ(run("config apply /ubex/file").error,
              "kivctl: /ubex/file: the shell failed, or could not be run\n");
}

TEST_F(Kivctl, RefusesWrongUsageAndRunsNothing)
{
    kiv_tests::expect_refused(
        program,
        {{""},
         {"nothing", "kivctl: no command \"nothing\"\nusage: kivctl"},
         {"run -q 1x y", "kivctl run: -q needs a number, not \"1x\"\n"},
         {"run --err f x", "kivctl run: --err needs --out\n"},
         {"run --peer --out f --err f x", "kivctl run: --err does not go with --peer\n"},
         {"run --out '' x", "kivctl run: --out and --err need the name of a file\n"},
         {"run --version 1 x", "kivctl run: --version needs --peer\n"},
         {"run --boot -e 1 x", "kivctl run: only --peer, --version and --json go with --boot\n"},
         {"config apply a b", "kivctl config apply: unexpected \"b\"\nusage: "},
         {"config apply", "kivctl config apply: an operand is missing\nusage: "},
         {"config x", "kivctl config: no job \"x\"\nusage: "},
         {"roles", "kivctl roles: no JOB\nusage: "},
         {"roles rule ops 2 permit", "kivctl roles rule: an operand is missing\nusage: "},
         {"roles rule ops 2 permit all", "kivctl roles rule: no type of commands: all\nusage: "},
         {"config apply -x", "kivctl config apply: "},
         {"errors --xml"}});
    kiv_tests::expect_help(program, {"", "run", "config", "config apply", "errors", "register x",
                                     "deregister x", "lock true", "run show", "config apply x",
                                     "script x", "session x", "roles explain x"});
    for (const char *number : {"0", "17"}) {
        const outcome refused = run(std::string("roles rule ops ") + number + " none");
        EXPECT_EQ(refused.status, 2);
        EXPECT_EQ(refused.error, "kivctl roles rule: the number of a rule is 1 to 16\n");
    }
    EXPECT_TRUE(recording().empty());
}

TEST_F(Kivctl, PrintsTheErrorTableThatTheDocumentationHolds)
{
    EXPECT_EQ(run("errors --markdown").output, read_file(DOCS_DIR "/errors.md"));
    EXPECT_THAT(run("errors").output, HasSubstr("\n0x4054001E  KIV_ERROR_COMMAND_TOO_LONG    C"));
    const std::string json = run("errors --json").output;
    EXPECT_THAT(json, StartsWith("[\n  {\"code\": \"0x40540001\", \"name\": \"KIV_ERROR_COMMAND_"
                                 "FAILED\", \"text\": \"Command failed\"},\n  {"));
    EXPECT_THAT(json, EndsWith("\"}\n]\n"));
}

TEST_F(Kivctl, SaysThatItsOutputIsLost)
{
    for (const char *arguments : {"--help", "run --json -e 0 x", "run --json x", "run --debug x"}) {
        const outcome lost = run(std::string(arguments) + " >/dev/full");
        EXPECT_EQ(lost.status, 1) << arguments;
        EXPECT_THAT(lost.error, EndsWith("kivctl: standard output: No space left on device\n"))
            << arguments;
    }
}

} // namespace
