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

    static inline const std::string program = "'" KIVCTL_PATH "' ";
};

TEST_F(Kivctl, RunsACommandDirectly)
{
    EXPECT_EQ(run("run show version").output, "recorder output\n");
    EXPECT_EQ(recording(), arguments({"kiv", "-nRc", "show version"}));
    EXPECT_EQ(run("run --boot --peer --version 1.2 show -x").status, 0);
    EXPECT_EQ(recording(), arguments({"kivboot", "-nRc", "show -x", "-V", "1.2"}));
    plan("exit 3");
    const outcome failed = run("run x");
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.error, HasSubstr("kivctl: the shell ended with status 3\n"));
    plan("signal 9");
    EXPECT_EQ(run("run --json x").output, "recorder output\n{\"raw_status\": 9, \"signal\": 9}\n");
}

TEST_F(Kivctl, RunsACommandThroughARequest)
{
    EXPECT_EQ(run("run --out /ubex/o --err /ubex/e -e 1 -q -2 show version").status, 0);
    EXPECT_EQ(recording(), arguments({"/usr/sbin/kiv.bin", "-c", "show version", "-e", "1", "-q",
                                      "-2", "-o", "0"}));
    EXPECT_EQ(read_file("/ubex/o"), "recorder output\n");
    EXPECT_EQ(read_file("/ubex/e"), "recorder error\n");
    EXPECT_EQ(run("run --peer -o 1 x").status, 0);
    EXPECT_EQ(recording(),
              arguments({"/usr/sbin/kiv.bin", "-c", "x", "-L", "-e", "0", "-q", "0", "-o", "1"}));
    plan("exit 1");
    const outcome failed = run("run --out /ubex/o x");
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.error, "kivctl: 0x40540001: Command failed\n");
    const std::string overlong(300, 'x');
    EXPECT_EQ(run("run -e 0 " + overlong).error, "kivctl: 0x4054001E: Command line is too long\n");
    EXPECT_EQ(run("run --json -e 0 " + overlong).output,
              "{\"code\": \"0x4054001E\", \"text\": \"Command line is too long\"}\n");
}

TEST_F(Kivctl, TakesEveryOptionOfARequest)
{
    EXPECT_EQ(run("run --shell '/usr/sbin/kiv.bin -x' show").status, 0);
    EXPECT_EQ(recording(), arguments({"/usr/sbin/kiv.bin", "-x", "-c", "show", "-e", "0", "-q", "0",
                                      "-o", "0"}));
    EXPECT_THAT(run("run --debug x").output, HasSubstr("Command str:/usr/sbin/kiv.bin  -c"));
    const std::string overlong = "/ubex/" + std::string(200, 'x');
    EXPECT_EQ(run("run --out " + overlong + " --out /ubex/abcdef --out /ubex/x y").status, 0);
    EXPECT_EQ(read_file("/ubex/x"), "recorder output\nrecorder error\n");
    EXPECT_EQ(read_file("/ubex/xbcdef"), "");
    // The pipe ends with the command, which outlives kivctl.
    plan("exit 3");
    EXPECT_THAT(switch_root::run(program + "run --json --peer --background x | cat").output,
                HasSubstr("{\"code\": \"0x00000000\""));
}

TEST_F(Kivctl, RefusesWhatTheCommandInterpreterWouldActOn)
{
    const kiv_tests::refused_case cases[] = {
        {"-e 0 'show \"q\"'",
         "COMMAND: a command line cannot hold the character '\"' of show \"q\""},
        {"-e 0 '$(touch /ubex/x)'", "COMMAND: a command line cannot hold the character '$' of $(t"},
        {"-e 0 'x\ny'", "COMMAND: a command line cannot hold the character '\\x0a' of x\\x0ay"},
        {"--out '/ubex/my file' x",
         "--out: a command line cannot hold the character ' ' of /ubex/"},
        {"--out /ubex/x --err '&1' x", "--err: a command line cannot hold the character '&' of &1"},
        {"-e 0 --peer --version \"'\" x",
         "--version: a command line cannot hold the character '''"},
    };
    for (const kiv_tests::refused_case &each : cases) {
        const outcome refused = run("run " + each.arguments);
        EXPECT_EQ(refused.status, 2) << each.arguments;
        EXPECT_THAT(refused.error, StartsWith("kivctl run: " + each.error));
    }
    EXPECT_TRUE(recording().empty());
    EXPECT_EQ(run("run 'show $(x) \"q\"'").status, 0);
    EXPECT_EQ(recording(), arguments({"kiv", "-nRc", "show $(x) \"q\""}));
    EXPECT_EQ(run("run --out /ubex/\xC3\xBC_1.a-b,c:d@e%f=g+h \"it's\" '>!'").status, 0);
    EXPECT_EQ(read_file("/ubex/\xC3\xBC_1.a-b,c:d@e%f=g+h"), "recorder output\nrecorder error\n");
}

TEST_F(Kivctl, HandsFilesOverAndSaysWhatIsWrongWithThem)
{
    switch_root::write_file("/ubex/file", "");
    EXPECT_EQ(run("config apply -- /ubex/file").status, 0);
    EXPECT_EQ(recording(), arguments({"kiv", "-nRr", "/ubex/file"}));
    EXPECT_EQ(run("script /ubex/file").status, 0);
    EXPECT_EQ(recording(), arguments({"kiv", "-nRf", "/ubex/file"}));
    EXPECT_EQ(run("script --boot /ubex/file").status, 0);
    EXPECT_EQ(recording(), arguments({"kivboot", "-nRf", "/ubex/file"}));
    EXPECT_EQ(run("config show -o '/ubex/my config'").status, 0);
    EXPECT_EQ(recording(),
              arguments({"kiv", "-nRc", "show running-config > \"/ubex/my config\" "}));
    EXPECT_EQ(run("config show -o '/ubex/a\"b\\'").status, 0);
    EXPECT_EQ(recording(), arguments({"kiv", "-nRc", R"(show running-config > "/ubex/a\"b\\" )"}));
    // 134 characters and the quotes around them are what there is room for.
    const std::string longest = "/ubex/ " + std::string(127, 'x');
    EXPECT_EQ(run("config show -o '" + longest + "'").status, 0);
    EXPECT_THAT(run("config show -o '" + longest + "x'").error, EndsWith("x: name is too long\n"));
    for (const char *command : {"config apply", "script", "script --boot"}) {
        const outcome missing = run(std::string(command) + " /ubex/none");
        EXPECT_EQ(missing.status, 1) << command;
        EXPECT_EQ(missing.error, "kivctl: /ubex/none: No such file or directory\n") << command;
    }
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
         {"run", "kivctl run: no COMMAND\n"},
         {"run -q 1x y", "kivctl run: -q needs a number, not \"1x\"\n"},
         {"run --err f x", "kivctl run: --err needs --out\n"},
         {"run --peer --out f --err f x", "kivctl run: --err does not go with --peer\n"},
         {"run --out '' x", "kivctl run: --out and --err need the name of a file\n"},
         {"run --version 1 x", "kivctl run: --version needs --peer\n"},
         {"run --peer --version 1 --shell s x", "kivctl run: --version does not go with --shell\n"},
         {"run --background x", "kivctl run: --background needs --peer\n"},
         {"run --boot -e 1 x", "kivctl run: only --peer, --version and --json go with --boot\n"},
         {"config show f"},
         {"config apply a b"},
         {"config apply -x", "kivctl config apply: "},
         {"script"},
         {"errors --xml"}});
    EXPECT_TRUE(recording().empty());
    kiv_tests::expect_help(
        program, {"", "run", "config", "config show", "config apply", "script", "errors", "tree"});
}

TEST_F(Kivctl, PrintsTheErrorTableThatTheDocumentationHolds)
{
    EXPECT_EQ(run("errors --markdown").output, read_file(DOCS_DIR "/errors.md"));
    EXPECT_THAT(run("errors").output,
                HasSubstr("\n0x4054001E  KIV_ERROR_COMMAND_TOO_LONG    Comm"));
    const std::string json = run("errors --json").output;
    EXPECT_THAT(json, StartsWith("[\n  {\"code\": \"0x40540001\", \"name\": \"KIV_ERROR_COMMAND_"
                                 "FAILED\", \"text\": \"Command failed\"},\n  {"));
    EXPECT_THAT(json, EndsWith("\"}\n]\n"));
}

TEST_F(Kivctl, SaysThatItsOutputIsLost)
{
    for (const char *arguments :
         {"errors", "--help", "run --help", "run --json -e 0 x", "run --json x", "run --debug x"}) {
        const outcome lost = run(std::string(arguments) + " >/dev/full");
        EXPECT_EQ(lost.status, 1) << arguments;
        EXPECT_THAT(lost.error, EndsWith("kivctl: standard output: No space left on device\n"))
            << arguments;
    }
}

} // namespace
