// The shell for somebody at a terminal.

#include <csignal>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include "small_tree.h"
#include "support/unique_fd.h"
#include "switch_root.h"
#include "terminal_program.h"

namespace {

using kiv_shell::testing::small_tree_nodes;
using switch_root::read_file;
using switch_root::write_file;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char *tree_file = "/ubex/etc/par/main_tree.par";
constexpr const char *start_shell = "exec /usr/sbin/kiv.bin -q 1";
constexpr const char *up_key = "\x1b[A";

class Terminal : public ::testing::Test {
protected:
    void SetUp() override
    {
        switch_root::require();
        const auto nodes = small_tree_nodes();
        write_file(tree_file, {reinterpret_cast<const char *>(nodes.data()),
                               nodes.size() * sizeof nodes.front()});
        unlink("/ubex/cfg/running.cfg");
        setenv("TERM", "vt100", 1);
    }
};

class EditedLines : public Terminal {
protected:
    void SetUp() override
    {
#ifndef KIV_EDITS_LINES
        GTEST_SKIP() << "built without editing";
#endif
        Terminal::SetUp();
    }
};

TEST_F(EditedLines, CanBeChangedCompletedAndRecalled)
{
    terminal::program shell(start_shell);
    shell.seen_to("kiv# ");
    const struct {
        const char *keys;
        const char *seen;
    } cases[] = {
        {"sh\tve\t\r", "Shell: "},
        {up_key, "show version"},
        {"\r", "Shell: "},
        {"ow version\001sh\r", "Shell: "},
        {"misplaced x\003", "^C\r"},
        {"show v\032\034ersion\026?\177\r", "Shell: "},
        {"sh\x1b[5~ow\x1b[1;2C\x1bOP \x1b[[A\x1b[200~ver\x1b[12\r", "Shell: "},
        {"\x1bxbind -v ?", "unknown word \"bind\""},
        {"\025\x1bXbind -v ?", "unknown word \"bind\""},
        {"\003", "^C\r"},
        {"sh v\t", "  vsan"},
        {"?", "  version\r\n  vsan\r\nkiv# sh v"},
        {"e\r", "Shell: "},
        {"show x?", "% unknown word \"x\""},
        {"\025show ver > ?", "  <file>"},
        {"\003", "^C\r"},
        {"conf t\r", "kiv(config)"},
        {"do ?", "misplaced\r\n  show"},
        {"\025banner why?\tb\r", "kiv(config)"},
        {"host \xc3\xb8\xc3\x98\r", "kiv(config)"},
        {"host \xc3\xa9\177\xff\xc3\xa8\r", "kiv(config)"},
        {"vsan 1\r", "kiv(vsan)"},
    };
    for (const auto &row : cases) {
        shell.answer_to(row.keys, row.seen);
        if (const char last = std::string_view(row.keys).back(); last == '\r' || last == '\003')
            shell.seen_to("# ");
        ASSERT_FALSE(HasFailure()) << row.keys;
    }
    EXPECT_THAT(read_file("/ubex/cfg/running.cfg"),
                AllOf(HasSubstr("banner why?\tb\n"), HasSubstr("host \xc3\xb8\xc3\x98\n"),
                      HasSubstr("host \xc3\xa8\n")));
    EXPECT_THAT(shell.answer_to("\004", "\n"), HasSubstr("^D"));
    EXPECT_EQ(shell.end(), 0);
}

TEST_F(EditedLines, AreRememberedOnceAndNotWhenBlank)
{
    terminal::program shell(start_shell);
    shell.seen_to("kiv# ");
    shell.answer_to("configure terminal\r", "kiv(config)# ");
    for (const char *line : {"host a\r", "host a\r", "  \r"})
        shell.answer_to(line, "kiv(config)# ");
    shell.answer_to(up_key, "host a");
    shell.answer_to(up_key, "configure terminal");
}

TEST_F(EditedLines, AreDrawnAgainWhenTheWindowChanges)
{
    terminal::program shell(start_shell);
    shell.answer_to("sho", "kiv# sho");
    shell.resize(30);
    shell.seen_to("kiv# sho");
}

TEST_F(EditedLines, WorkOnTerminalsThatCanDoLittle)
{
    for (const char *kind : {"dumb", "", "no-such-terminal"}) {
        setenv("TERM", kind, 1);
        terminal::program shell(start_shell);
        shell.seen_to("kiv# ");
        shell.answer_to("show ver\t\r", "Shell: ");
    }
}

// Whatever ends the shell.
TEST_F(EditedLines, LeaveTheSettingsOfTheTerminal)
{
    const struct {
        const char *how;
        void (*end)(terminal::program &);
        int status;
    } cases[] = {
        {"the user", [](terminal::program &shell) { shell.type("\004"); }, 0},
        {"SIGTERM", [](terminal::program &shell) { shell.send(SIGTERM); }, -SIGTERM},
        {"SIGHUP", [](terminal::program &shell) { shell.send(SIGHUP); }, -SIGHUP},
        {"SIGALRM", [](terminal::program &shell) { shell.send(SIGALRM); }, -SIGALRM},
        {"SIGUSR1", [](terminal::program &shell) { shell.send(SIGUSR1); }, -SIGUSR1},
        {"a tree that is cut",
         [](terminal::program &shell) {
             ASSERT_EQ(truncate(tree_file, 0), 0);
             shell.type("?");
         },
         1},
    };
    for (const auto &row : cases) {
        terminal::program shell(start_shell);
        shell.seen_to("kiv# ");
        shell.answer_to("x\177", "x");
        EXPECT_NE(shell.local_settings(), shell.first_settings()) << row.how;
        row.end(shell);
        EXPECT_EQ(shell.end(), row.status) << row.how;
        EXPECT_EQ(shell.local_settings(), shell.first_settings()) << row.how;
    }
}

TEST_F(Terminal, EndsTheShellWhenItIsGone)
{
    for (const char *line : {start_shell, "exec /usr/sbin/kiv.bin -q 1 > /ubex/output",
                             "trap '' HUP; exec /usr/sbin/kiv.bin -q 1"}) {
        terminal::program shell(line);
        if (std::string_view(line).find('>') == std::string::npos)
            shell.seen_to("kiv# ");
        shell.hang_up();
        const int status = shell.end();
        EXPECT_TRUE(status == 0 || status == 1 || status == -SIGHUP) << line << ": " << status;
    }
}

// Byte by byte, for more may come later.
std::string read_to(int stream, std::string_view end)
{
    std::string text;
    for (char byte = 0; !text.ends_with(end) && read(stream, &byte, 1) == 1;)
        text += byte;
    return text;
}

TEST_F(Terminal, TakesLinesAsTheyAreWhereTheOutputIsElsewhere)
{
    switch_root::run("rm -f /ubex/answers; mkfifo /ubex/answers");
    terminal::program shell("exec /usr/sbin/kiv.bin -q 1 >/ubex/answers");
    const kiv::support::unique_fd answers(open("/ubex/answers", O_RDONLY));
    EXPECT_EQ(read_to(answers.get(), "# "), "kiv# ");
    shell.type("dropped\003");
    EXPECT_EQ(read_to(answers.get(), "# "), "\nkiv# ");
    shell.type("show ver\r");
    EXPECT_THAT(read_to(answers.get(), "# "), AllOf(HasSubstr("Shell: "), EndsWith("\nkiv# ")));
    shell.answer_to("show ?\r", "unknown word \"?\"");
    shell.type("\004");
    EXPECT_EQ(shell.end(), 1);
}

class Pager : public Terminal {
protected:
    void SetUp() override
    {
        Terminal::SetUp();
        unlink("/ubex/paged");
        setenv("LESSSECURE_ALLOW", "edit", 1);
        use("cat >/ubex/paged; echo $LESSSECURE${LESSSECURE_ALLOW-} paged");
    }

    static void use(const char *command) { setenv("PAGER", command, 1); }
};

TEST_F(Pager, ShowsWhatIsLongerThanTheScreen)
{
    terminal::program shell(start_shell, 4);
    shell.seen_to("kiv# ");
    shell.answer_to("show version\r", "1 paged");
    EXPECT_THAT(read_file("/ubex/paged"), HasSubstr("Shell: "));
    shell.answer_to("show version > /ubex/file\r", "kiv# ");
    shell.resize(5);
    EXPECT_THAT(shell.answer_to("show version\r", "Kernel: "), Not(HasSubstr("paged")));
}

TEST_F(Pager, MayBeQuitOrInterrupted)
{
    std::string settings;
    for (int i = 0; i < 20'000; ++i)
        settings += "host " + std::to_string(i) + "\n";
    switch_root::run("mkdir -p /ubex/cfg");
    write_file("/ubex/cfg/running.cfg", settings);
    use("exec sed 's/$/!/;1q'");
    terminal::program quits(start_shell);
    quits.seen_to("kiv# ");
    EXPECT_THAT(quits.answer_to("show running-config\r", "kiv# "), Not(HasSubstr("%")));
    use("echo reading; exec cat /ubex/no-writer");
    switch_root::run("mkfifo /ubex/no-writer");
    terminal::program interrupted(start_shell);
    interrupted.seen_to("kiv# ");
    interrupted.answer_to("show running-config\r", "reading");
    interrupted.answer_to("\003", "kiv# ");
    interrupted.answer_to("show running-config\r", "reading");
    interrupted.hang_up();
    EXPECT_EQ(interrupted.end(), -SIGHUP);
}

TEST_F(Pager, DoesNotStopNorOutliveTheShell)
{
    switch_root::run("mkfifo /ubex/no-writer");
    use("echo reading; exec cat /ubex/no-writer");
    terminal::program job("set -m; /usr/sbin/kiv.bin -q 1; echo stopped", 3);
    job.seen_to("kiv# ");
    job.answer_to("show version\r", "reading");
    EXPECT_THAT(job.answer_to("\032\003", "kiv# "), Not(HasSubstr("stopped")));
    use("cat /ubex/no-writer & trap 'kill $!; echo pager ended; exit' TERM; kill $PPID; wait");
    terminal::program ended("/usr/sbin/kiv.bin -q 1; exec cat", 3);
    ended.seen_to("kiv# ");
    ended.answer_to("show version\r", "pager ended");
}

// Nor by a pager that can start programs.
TEST_F(Pager, IsNotMissed)
{
    use("/no/such/pager 2>/dev/null");
    switch_root::run("mkdir -p /ubex/programs; ln -sf /bin/true /ubex/programs/more");
    setenv("PATH", "/ubex/programs", 1);
    terminal::program shell(start_shell, 3);
    shell.seen_to("kiv# ");
    shell.answer_to("show version\r", "Kernel: ");
}

} // namespace
