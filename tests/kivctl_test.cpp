// kivctl as a user runs it: what it prints and how it ends.

#include <string>

#include <gmock/gmock.h>

#include "switch_root.h"

namespace {

using switch_root::outcome;
using switch_root::read_file;
using testing::HasSubstr;

class Kivctl : public switch_root::recorded {
protected:
    static outcome run(const std::string &arguments)
    {
        return switch_root::run(std::string(KIVCTL_PATH " ") + arguments);
    }
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
    const outcome overlong = run("run -e 0 " + std::string(300, 'x'));
    EXPECT_EQ(overlong.error, "kivctl: 0x4054001E: Command line is too long\n");
}

TEST_F(Kivctl, HandsFilesOverAndSaysWhatIsWrongWithThem)
{
    switch_root::write_file("/ubex/file", "");
    EXPECT_EQ(run("config apply /ubex/file").status, 0);
    EXPECT_EQ(recording(), arguments({"kiv", "-nRr", "/ubex/file"}));
    EXPECT_EQ(run("script /ubex/file").status, 0);
    EXPECT_EQ(recording(), arguments({"kiv", "-nRf", "/ubex/file"}));
    EXPECT_EQ(run("script --boot /ubex/file").status, 0);
    EXPECT_EQ(recording(), arguments({"kivboot", "-nRf", "/ubex/file"}));
    EXPECT_EQ(run("config show -o '/ubex/my config'").status, 0);
    EXPECT_EQ(recording(),
              arguments({"kiv", "-nRc", "show running-config > \"/ubex/my config\" "}));
    for (const char *command : {"config apply", "script", "script --boot"}) {
        const outcome missing = run(std::string(command) + " /ubex/none");
        EXPECT_EQ(missing.status, 1) << command;
        EXPECT_EQ(missing.error, "kivctl: /ubex/none: No such file or directory\n") << command;
    }
}

TEST_F(Kivctl, RefusesWrongUsageAndRunsNothing)
{
    for (const char *arguments :
         {"", "nothing", "run", "run -e x y", "run -e 1x y", "run --err f x", "run --version 1 x",
          "run --boot -e 1 x", "run --unknown x", "config", "config show f", "config apply",
          "config apply a b", "script", "script a b", "errors --xml"}) {
        const outcome refused = run(arguments);
        EXPECT_EQ(refused.status, 2) << arguments;
        EXPECT_THAT(refused.error, HasSubstr("usage: kivctl")) << arguments;
        EXPECT_EQ(refused.output, "") << arguments;
    }
    EXPECT_TRUE(recording().empty());
    for (const char *arguments : {"--help", "run --help", "config --help", "config show --help",
                                  "script --help", "errors --help", "tree --help"}) {
        const outcome helped = run(arguments);
        EXPECT_EQ(helped.status, 0) << arguments;
        EXPECT_THAT(helped.output, HasSubstr("usage: kivctl")) << arguments;
    }
}

TEST_F(Kivctl, PrintsTheErrorTableThatTheDocumentationHolds)
{
    EXPECT_EQ(run("errors --markdown").output, read_file(DOCS_DIR "/errors.md"));
    EXPECT_THAT(run("errors").output, HasSubstr("0x4054001E  KIV_ERROR_COMMAND_TOO_LONG"));
}

} // namespace
