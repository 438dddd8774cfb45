// kivctl config diff as a user runs it.

#include <string>

#include <gmock/gmock.h>

#include "switch_root.h"
#include "usage.h"

namespace {

using switch_root::outcome;
using testing::StartsWith;

class DiffCommand : public testing::Test {
protected:
    void SetUp() override
    {
        switch_root::require();
        switch_root::write_file("/ubex/old", "interface x\n  shutdown\nvsan 2\n");
        switch_root::write_file("/ubex/new", "interface x\n  no shutdown\n\nvsan 2\n");
    }

    static outcome run(const std::string &arguments, const std::string &input = {})
    {
        return switch_root::run("'" KIVCTL_PATH "' config diff " + arguments, input);
    }

    static inline const std::string listing =
        "     interface x\n    -  shutdown\n    +  no shutdown\n";
};

TEST_F(DiffCommand, TellsWhetherTwoFilesDifferAndHow)
{
    const outcome different = run("-- /ubex/old /ubex/new");
    EXPECT_EQ(different.status, 1);
    EXPECT_EQ(different.output, listing);
    EXPECT_EQ(different.error, "");
    const outcome same = run("/ubex/old -", switch_root::read_file("/ubex/old"));
    EXPECT_EQ(same.status, 0);
    EXPECT_EQ(same.output, "");
    EXPECT_EQ(run("/dev/null /dev/null").status, 0);
    // More than what is read at a time, through a pipe.
    const outcome large =
        switch_root::run("seq 100000 >/ubex/large; { cat /ubex/large; echo end; } | '" KIVCTL_PATH
                         "' config diff /ubex/large -");
    EXPECT_EQ(large.output, "    +end\n");
}

TEST_F(DiffCommand, ColorsWhatItPrintsWhereThatIsWanted)
{
    const std::string colored =
        "     interface x\n\033[31m    -  shutdown\033[m\n\033[32m    +  no shutdown\033[m\n";
    const std::string files = " /ubex/old /ubex/new";
    for (const char *option : {"--color", "--color=always", "--color=never --color=always"})
        EXPECT_EQ(run(option + files).output, colored) << option;
    for (const char *option : {"--color=auto", "--color=never", "--color --color=never"})
        EXPECT_EQ(run(option + files).output, listing) << option;
}

TEST_F(DiffCommand, TellsTroubleFromDifferences)
{
    switch_root::write_file("/ubex/nul", std::string("a\n\0b\n", 5));
    const kiv_tests::refused_case cases[] = {
        {"/ubex/old /ubex/none", "kivctl: /ubex/none: No such file or directory\n"},
        {"/ubex/old /ubex/nul", "kivctl: /ubex/nul: holds a NUL byte\n"},
        {"- /ubex/old <&-", "kivctl: standard input: Bad file descriptor\n"},
        {"/ubex/old /ubex/new >/dev/full", "kivctl: standard output: No space left on device\n"},
        {"- -", "kivctl config diff: standard input can be only one of the files\nusage: "},
        {"--color=x a b", "kivctl config diff: --color takes always, never or auto\nusage: "},
    };
    for (const kiv_tests::refused_case &each : cases) {
        const outcome trouble = run(each.arguments);
        EXPECT_EQ(trouble.status, 2) << each.arguments;
        EXPECT_THAT(trouble.error, StartsWith(each.error)) << each.arguments;
        EXPECT_EQ(trouble.output, "") << each.arguments;
    }
}

} // namespace
