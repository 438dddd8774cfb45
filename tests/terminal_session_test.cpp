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

// A shell that has prompted.
struct waiting_shell : terminal::program {
    explicit waiting_shell(unsigned short rows = 24, const char *line = start_shell)
        : program(line, rows)
    {
        seen_to("kiv# ");
    }
};

class Terminal : public ::testing::Test {
protected:
    void SetUp() override
    {
        switch_root::require();
        const auto nodes = small_tree_nodes();
        write_file(tree_file, {reinterpret_cast<const char *>(nodes.data()),
                               nodes.size() * sizeof nodes.front()});
        switch_root::run("mkdir -p /ubex/cfg; rm -f /ubex/cfg/running.cfg");
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
    waiting_shell shell;
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
        {"show ver > ?", "  <file>"},
        {"\003", "^C\r"},
        {"conf t\r", "kiv(config)"},
        {"do ?", "misplaced\r\n  show"},
        {"\025banner why?\tb\r", "kiv(config)"},
        {"host \xc3\xb8\xc3\x98\r", "kiv(config)"},
        {"host \xc3\xa9\177\xff\xc3\xa8\r", "kiv(config)"},
        {"host a\r", "kiv(config)"},
        {"host a\r", "kiv(config)"},
        {"  \r", "kiv(config)"},
        {up_key, "host a"},
        {up_key, "\xc3\xa8"},
        {"\025vsan 1\r", "kiv(vsan)"},
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
    shell.resize(30);
    shell.seen_to("kiv(vsan)# ");
    EXPECT_THAT(shell.answer_to("\004", "\n"), HasSubstr("^D"));
    EXPECT_EQ(shell.end(), 0);
}

TEST_F(EditedLines, WorkOnTerminalsThatCanDoLittle)
{
    for (const char *kind : {"dumb", "", "no-such-terminal"}) {
        setenv("TERM", kind, 1);
        waiting_shell().answer_to("show ver\t\r", "Shell: ");
    }
}

// Whatever ends the shell.
TEST_F(EditedLines, LeaveTheSettingsOfTheTerminal)
{
    const auto leaves_settings = [](const char *how, int status,
                                    void (*ends)(terminal::program &)) {
        waiting_shell shell;
        shell.answer_to("x\177", "x");
        EXPECT_NE(shell.local_settings(), shell.first_settings()) << how;
        ends(shell);
        EXPECT_EQ(shell.end(), status) << how;
        EXPECT_EQ(shell.local_settings(), shell.first_settings()) << how;
    };
    leaves_settings("the user", 0, [](terminal::program &shell) { shell.type("\004"); });
    leaves_settings("SIGTERM", -SIGTERM, [](terminal::program &shell) { shell.send(SIGTERM); });
    leaves_settings("SIGUSR1", -SIGUSR1, [](terminal::program &shell) { shell.send(SIGUSR1); });
    leaves_settings("a tree that is cut", 1, [](terminal::program &shell) {
        ASSERT_EQ(truncate(tree_file, 0), 0);
        shell.type("?");
    });
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
        switch_root::run("rm -f /ubex/paged; mkfifo /ubex/no-writer");
    }

    static void use(const char *command) { setenv("PAGER", command, 1); }
};

TEST_F(Pager, ShowsWhatIsLongerThanTheScreen)
{
    setenv("LESSSECURE_ALLOW", "edit", 1);
    use("cat >/ubex/paged; echo $LESSSECURE${LESSSECURE_ALLOW-}$LESSHISTFILE paged");
    waiting_shell shell(4);
    shell.answer_to("show version\r", "1- paged");
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
    write_file("/ubex/cfg/running.cfg", settings);
    use("exec sed 's/$/!/;1q'");
    EXPECT_THAT(waiting_shell().answer_to("show running-config\r", "kiv# "), Not(HasSubstr("%")));
    use("echo reading; exec cat /ubex/no-writer");
    waiting_shell interrupted;
    interrupted.answer_to("show running-config\r", "reading");
    interrupted.answer_to("\003", "kiv# ");
    interrupted.answer_to("show running-config\r", "reading");
    interrupted.hang_up();
    EXPECT_EQ(interrupted.end(), -SIGHUP);
}

TEST_F(Pager, DoesNotStopNorOutliveTheShell)
{
    use("echo reading; exec cat /ubex/no-writer");
    waiting_shell job(3, "set -m; /usr/sbin/kiv.bin -q 1; echo stopped");
    job.answer_to("show version\r", "reading");
    EXPECT_THAT(job.answer_to("\032\003", "kiv# "), Not(HasSubstr("stopped")));
    use("cat /ubex/no-writer & trap 'kill $!; echo pager ended; exit' TERM; kill $PPID; wait");
    waiting_shell ended(3, "/usr/sbin/kiv.bin -q 1; exec cat");
    ended.answer_to("show version\r", "pager ended");
}

// Nor by a pager that can start programs.
TEST_F(Pager, IsNotMissed)
{
    use("/no/such/pager 2>/dev/null");
    switch_root::run("mkdir -p /ubex/programs; ln -sf /bin/true /ubex/programs/more");
    setenv("PATH", "/ubex/programs", 1);
    waiting_shell(3).answer_to("show version\r", "Kernel: ");
}

} // namespace
