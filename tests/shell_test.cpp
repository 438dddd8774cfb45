// Sessions of the shell and what they keep, and the program at the switch's own path.

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <kiv/kiv_exec_lib.h>

#include "lab/kiv/configuration.h"
#include "lab/kiv/files.h"
#include "lab/kiv/run.h"
#include "lab/kiv/session.h"
#include "lab/kiv/store.h"
#include "small_tree.h"
#include "switch_root.h"
#include "terminal.h"

namespace {

using namespace kiv_shell;
using namespace kiv_shell::testing;
using switch_root::outcome;
using switch_root::read_file;
using switch_root::write_file;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr const char *store_directory = "/ubex/cfg";
constexpr const char *running_file = "/ubex/cfg/running.cfg";

// Only in a switch root, whose /ubex is the test's own.
class OnSwitch : public ::testing::Test, protected small_tree {
protected:
    void SetUp() override
    {
        switch_root::require();
        switch_root::run("rm -rf /ubex/cfg");
    }

    // Runs lines in a session of its own. Returns whether all were done.
    bool run_lines(const std::vector<std::string> &lines) const
    {
        session shell(chosen, tree, store, standard_streams());
        bool done = true;
        for (const std::string &line : lines)
            done = shell.run_line(line) == line_outcome::done && done;
        return done;
    }

    int apply(const std::string &text) const
    {
        write_file("/ubex/apply.cfg", text);
        session shell(chosen, tree, store, standard_streams());
        return run_configuration_file(shell, "/ubex/apply.cfg");
    }

    // What the file means.
    std::string kept() const
    {
        configuration settings = kept_configuration(tree, store, config).empty();
        EXPECT_EQ(kept_configuration(tree, store, config).read(settings), failure());
        return settings.text();
    }

    options chosen;
    mutable configuration_store store{store_directory};
};

using Session = OnSwitch;
using Store = OnSwitch;

TEST_F(Session, EntersAndLeavesModes)
{
    EXPECT_TRUE(run_lines({"configure terminal", "vsan 1", "name a", "vsan 2", "exit", "name b",
                           "exit", "name c", "vsan 1", "exit", "end", "show version"}));
    EXPECT_EQ(kept(), "vsan 1\n  name b\n  vsan 2\nname c\n");
    EXPECT_FALSE(run_lines({"configure terminal", "vsan 1", "host x"})) << "enclosing mode";
    EXPECT_FALSE(run_lines({"configure terminal", "strange"})) << "no handler";
    EXPECT_FALSE(run_lines({"misplaced"})) << "a setting, but not of configuration mode";
    EXPECT_FALSE(run_lines({"configure terminal", "no vsan 01", "vsan 0"}));
    EXPECT_EQ(kept(), "name c\n");
    std::vector<std::string> deep(most_modes, "vsan 1");
    deep.front() = "configure terminal";
    EXPECT_FALSE(run_lines(deep));
    deep.pop_back();
    EXPECT_TRUE(run_lines(deep));
}

TEST_F(Session, ShowsWhatCanBeAppliedAgain)
{
    const std::string text = "banner say \"hi\" > x\n"
                             "vsan 1\n  name in\n  vsan 2\n    name \"a b\"\n    exit\n  exit\n"
                             "vsan 3\nhost \"!x\"\nhost \"\"\n"
                             "name \">\"\n";
    EXPECT_EQ(apply(text), status_done);
    std::string shown;
    bool is_partial = false;
    session shell(chosen, tree, store, standard_streams());
    EXPECT_EQ(shell.read_configuration(shown, is_partial), failure());
    EXPECT_EQ(shown, text);
    EXPECT_EQ(
        apply("! x\r\nvsan 3\r\nname not-indented\nno host \"!x\"\nno host \"\"\nend\nhost b"),
        status_done);
    EXPECT_THAT(kept(), EndsWith("vsan 3\n  name not-indented\nhost b\nname \">\"\n"));
}

TEST_F(Store, KeepsTheChangesOfAllWriters)
{
    constexpr int writers = 4, changes = 15;
    for (int writer = 0; writer < writers; ++writer) {
        if (fork() != 0)
            continue;
        bool done = true;
        for (int i = 0; i < changes; ++i) {
            const std::string host = std::to_string(writer) + "-" + std::to_string(i);
            done = run_lines({"configure terminal", "host " + host}) && done;
        }
        _exit(done ? 0 : 1);
    }
    for (int status = 0; wait(&status) > 0;)
        EXPECT_EQ(status, 0);
    const std::string text = kept();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), writers * changes) << text;
}

const std::string texts[] = {std::string(300000, 'a') + "\n", std::string(400000, 'b') + "\n"};
const std::string appended = std::string(3000, 'c') + "\n";

// Replaces the file by one of the texts in turn, and appends a line to each, until it is killed;
// with a byte into the pipe after each.
[[noreturn]] void write_for_ever(configuration_store &store, int mark)
{
    for (size_t i = 0;; ++i) {
        if (store.lock() || store.replace(texts[i % 2]) || store.append(appended, store.now()))
            _exit(1);
        store.unlock();
        if (write(mark, "x", 1) != 1)
            _exit(1);
    }
}

TEST_F(Store, IsWholeWhileItIsWrittenAndWhenTheWriterIsKilled)
{
    const auto is_whole = [&] {
        std::string text;
        bool no_tail = false;
        EXPECT_EQ(store.read(text, no_tail), failure());
        if (text.ends_with(appended))
            text.resize(text.size() - appended.size());
        return text == texts[0] || text == texts[1];
    };
    for (int round = 0; round < 10; ++round) {
        int marks[2];
        ASSERT_EQ(pipe(marks), 0);
        const pid_t child = fork();
        if (child == 0)
            write_for_ever(store, marks[1]);
        close(marks[1]);
        int torn = 0;
        char mark = 0;
        ASSERT_EQ(read(marks[0], &mark, 1), 1) << "nothing was written";
        for (int i = 0; i < 20; ++i)
            torn += is_whole() ? 0 : 1;
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        close(marks[0]);
        EXPECT_EQ(torn, 0);
        ASSERT_TRUE(is_whole()) << "round " << round;
    }
    EXPECT_EQ(store.lock(), failure()) << "a lock was left behind";
    EXPECT_EQ(store.replace("after\n"), failure());
    EXPECT_EQ(read_file(running_file), "after\n");
}

TEST_F(Store, TakesUpWhereAWriterWasKilled)
{
    ASSERT_EQ(mkdir(store_directory, 0755), 0);
    write_file(running_file, "host a\nvsan 1\n  name of ha");
    write_file("/ubex/victim", "kept");
    ASSERT_EQ(symlink("/ubex/victim", "/ubex/cfg/running.cfg.new"), 0);
    EXPECT_EQ(kept(), "vsan 1\nhost a\n");
    EXPECT_TRUE(run_lines({"configure terminal", "host b", "no vsan 1"}));
    EXPECT_EQ(kept(), "host a\nhost b\n");
    EXPECT_EQ(read_file("/ubex/victim"), "kept");
}

TEST_F(Store, DoesNotGrowWithoutEnd)
{
    std::vector<std::string> lines{"configure terminal", "host a"};
    for (int i = 0; i < 6000; ++i)
        lines.push_back("banner " + std::string(30, i % 2 == 0 ? 'x' : 'y'));
    EXPECT_TRUE(run_lines(lines));
    EXPECT_EQ(kept(), "banner " + std::string(30, 'y') + "\nhost a\n");
    EXPECT_LT(read_file(running_file).size(), 70000U);
}

TEST_F(Store, LeavesWhatItCannotReadAlone)
{
    const auto refused = [&] {
        EXPECT_FALSE(run_lines({"configure terminal", "host b"}));
        write_file("/ubex/backup", "old");
        EXPECT_FALSE(run_lines({"show running-config > /ubex/backup"}));
        EXPECT_EQ(read_file("/ubex/backup"), "old");
    };
    ASSERT_EQ(mkdir(store_directory, 0755), 0);
    const std::string damaged("host a\n\0\0\0", 10);
    write_file(running_file, damaged);
    refused();
    EXPECT_EQ(read_file(running_file), damaged);
    unlink(running_file);
    ASSERT_EQ(mkfifo(running_file, 0600), 0);
    refused();
}

using Program = OnSwitch;

outcome run_shell(const std::string &arguments, const std::string &input = {})
{
    return switch_root::run("/usr/sbin/kiv.bin " + arguments, input);
}

TEST_F(Program, HasAnExitStatusAndAMessageForEachFault)
{
    const std::string blanks(58, ' ');
    write_file("/ubex/lines", "configure terminal\nswitchname a\n\nfoo\nswitchname b\n");
    const struct {
        std::string arguments;
        int status;
        std::string error; // how it begins
    } cases[] = {
        {"-V '1 2' -q -1 -c '! nothing' -L -o 1 -e 0x8000", 0, ""},
        {"-c 'show version' >&-", 1, "% standard output: Bad file descriptor\n"},
        {"<&-", 0, ""},
        {"-c 'show versoin'", 1,
         "show versoin\n     ^\n% unknown word \"versoin\"; expected: running-config, version\n"},
        {"-c '\tshow\tversoin'", 1, "\tshow\tversoin\n\t    \t^\n"},
        {"-c 'show version > é x'", 1, "show version > é x\n                 ^\n"},
        {"-c 'show" + blanks + "versoin" + std::string(60, 'x') + "'", 1,
         "...ow" + blanks + "versoin" + std::string(53, 'x') + "...\n" + std::string(63, ' ') +
             "^\n"},
        {"-c 'show version > /dev/full'", 1, "% /dev/full: No space left on device\n"},
        {"-f /ubex/lines", 1, "foo\n^\n/ubex/lines:4: % unknown word \"foo\""},
        {"-r /ubex", 1, "kiv: /ubex: Is a directory\n"},
        {"-c a -r b", 2, "kiv: only one of -c, -f, -r and --session"},
        {"-q 99999999999", 2, "kiv: not a number"},
        {"-nR", 2, "kiv: unknown option -nR"},
    };
    for (const auto &row : cases) {
        const outcome result = run_shell(row.arguments);
        EXPECT_EQ(result.status, row.status) << row.arguments;
        EXPECT_THAT(result.error, StartsWith(row.error)) << row.arguments;
        EXPECT_EQ(result.error.empty(), row.error.empty()) << row.arguments;
    }
    EXPECT_EQ(kept(), "switchname a\n") << "lines behind the one that failed";
}

TEST_F(Program, ReadsCommandsFromStandardInputAndGoesOnAfterErrors)
{
    const terminal::pseudo_terminal user;
    user.type("configure terminal\nvsan 1\nend\nexit\n");
    EXPECT_EQ(switch_root::run("/lc/ubexboot/bin/kivboot -q 1 <" + user.name()).output,
              "kiv(boot)# kiv(boot)(config)# kiv(boot)(config-vsan)# kiv(boot)# ");
    const std::string lines = "conf t\nboot-delay 9999\nswitchname a\nend\nexit\nfoo\n";
    const outcome result = run_shell("-q 1", lines);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.error, HasSubstr("is out of bounds; expected: <int 0..3600>"));
    EXPECT_EQ(kept(), "vsan 1\nswitchname a\n");
    EXPECT_EQ(run_shell("", "exit\nfoo\n").status, 0) << "nothing is read behind the end";
    run_shell(">&- 2>&-", lines + "show version\n");
    EXPECT_EQ(kept(), "vsan 1\nswitchname a\n") << "a message in the configuration";
}

TEST_F(Program, AppliesAConfigurationFileWholeOrNotAtAll)
{
    write_file("/ubex/c", "switchname a\nvsan 5000\nvsan 1\n nmae x\nshow version\n"
                          "switchname b > /ubex/x\n");
    const outcome wrong = run_shell("-r /ubex/c");
    EXPECT_EQ(wrong.status, 1);
    for (const char *part : {"/ubex/c:2: % value \"5000\"", "/ubex/c:4: % unknown word \"nmae\"",
                             "/ubex/c:5: % unknown word \"show\"",
                             "/ubex/c:6: % no command of a configuration file writes"})
        EXPECT_THAT(wrong.error, HasSubstr(part));
    write_file("/ubex/c", "vsan 1\nname x\ninterface fc1/1\nswitchport speed auto\nvsan 2\n");
    EXPECT_EQ(run_shell("-e 32768 -r /ubex/c").output,
              "/ubex/c: 5 commands checked, none applied\n");
    EXPECT_EQ(kept(), "");
    EXPECT_EQ(run_shell("-r /ubex/c").output, "/ubex/c: 5 commands applied\n");
    EXPECT_EQ(run_shell("-q 1 -nRr /ubex/c").output, "");
    const std::pair<const char *, const char *> lost_outputs[] = {
        {">/dev/full", "No space left on device"},
        {">&-", "Bad file descriptor"},
        {"4>/ubex/gone 3>&- >&4", "Broken pipe"}};
    for (const auto &[redirection, reason] : lost_outputs) {
        const outcome lost = switch_root::run("mkfifo -m 600 /ubex/gone; exec 3<>/ubex/gone; "
                                              "/usr/sbin/kiv.bin -r /ubex/c " +
                                              std::string(redirection));
        EXPECT_EQ(lost.status, 1) << redirection;
        EXPECT_THAT(lost.error, EndsWith(std::string("/ubex/c: 5 commands applied: % standard "
                                                     "output: ") +
                                         reason + "\n"));
    }
    EXPECT_EQ(kept(), "vsan 1\n  name x\nvsan 2\ninterface fc1/1\n  switchport speed auto\n");
}

TEST_F(Program, ReplacesAFileWholeOrLeavesIt)
{
    std::string settings;
    for (int vsan = 2; vsan < 400; ++vsan)
        settings += "vsan " + std::to_string(vsan) + "\n";
    write_file("/ubex/c", settings);
    ASSERT_EQ(run_shell("-q 1 -r /ubex/c").status, 0);
    const std::string folder = "rm -rf /ubex/f; mkdir /ubex/f; cd /ubex/f; for i in o two; do "
                               "echo old >$i; done; chmod 640 o; ln two other; ln -s o link; "
                               "ln -s made nowhere; ";
    const auto show_into = [](const std::string &file) {
        return "/usr/sbin/kiv.bin -o 1 -c 'show running-config > " + file + "' ";
    };
    // Who has the file open keeps the old one, where a new one takes its place.
    const struct {
        std::string file, content;
        bool is_replaced;
    } rows[] = {
        {"o", "o", true},          {"link", "o", true},     {"missing", "missing", true},
        {"nowhere", "made", true}, {"two", "other", false}, {"/dev/stderr", "o", false},
    };
    for (const auto &[file, content, is_replaced] : rows) {
        const outcome done =
            switch_root::run(folder + "exec 3<" + (file == "two" ? file : "o") + "; " +
                             show_into(file) + (file == "/dev/stderr" ? "2>>o" : "") + "; cat <&3");
        EXPECT_EQ(done.status, 0) << file << done.error;
        EXPECT_EQ(done.output, is_replaced ? "old\n" : settings) << file;
        EXPECT_EQ(read_file("/ubex/f/" + content), settings) << file;
        EXPECT_EQ(switch_root::run("cd /ubex/f; stat -c %a o; readlink link nowhere").output,
                  "640\no\nmade\n")
            << file;
        const outcome full = switch_root::run(folder + "(ulimit -f 1; " + show_into(file) +
                                              "); echo $?; ls -A; cat o");
        if (is_replaced) {
            EXPECT_EQ(full.output, "1\nlink\nnowhere\no\nother\ntwo\nold\n") << file;
        }
    }
    // Root may change any folder while it has its capabilities.
    const std::string without = "$(setpriv --bounding-set=-all true 2>&1 && "
                                "echo setpriv --bounding-set=-all --inh-caps=-all) ";
    EXPECT_EQ(switch_root::run(folder + "chmod 555 .; exec 3<o; " + without + show_into("o") +
                               "; chmod 755 .; cat <&3")
                  .output,
              settings)
        << "in place, in a folder that may not be changed";
}

TEST_F(Program, ServesTheLibrary)
{
    const std::string file = "/ubex/c";
    write_file(file, "switchname \"a b\"\nvsan 7\nname x\n");
    EXPECT_EQ(kiv_execute_cfg_file(file.c_str()), 0);
    write_file("/ubex/generated", std::string(10000, 'x'));
    EXPECT_EQ(kiv_generate_running_cfg("/ubex/generated"), 0);
    const std::string generated = read_file("/ubex/generated");
    EXPECT_THAT(generated, StartsWith("! Running configuration\n"));
    EXPECT_THAT(generated, EndsWith("switchname \"a b\"\nvsan 7\n  name x\n"));
    kiv_system_info request{};
    std::string("show running-config").copy(request.cmd_str, sizeof request.cmd_str);
    std::string("/ubex/out").copy(request.out_file, sizeof request.out_file);
    request.o_value = 1;
    EXPECT_EQ(kiv_talvek_system2(&request), 0U);
    EXPECT_THAT(generated, HasSubstr(read_file("/ubex/out")));
    EXPECT_EQ(kiv_system("show nothing"), 1 << 8);
    EXPECT_EQ(kiv_execute_script_file(file.c_str()), -1) << "no commands of exec mode";
    EXPECT_EQ(run_shell("-o 1 -c 'show running-config > /ubex/cfg/running.cfg'").status, 0);
    EXPECT_EQ(kept(), "switchname \"a b\"\nvsan 7\n  name x\n") << "shown into its own file";
    EXPECT_THAT(run_shell("-L -V 6.2 -c 'show running-config peer'").output,
                StartsWith("! Running configuration of the peer\n! Peer version: 6.2\n"));
}

TEST_F(Program, RefusesATreeThatIsNotSound)
{
    const std::string path = "/ubex/etc/par/main_tree.par";
    const std::string tree_text = read_file(path);
    const auto refused = [&](const std::string &reason) {
        const outcome result = run_shell("-c 'show version'");
        EXPECT_EQ(result.status, 2) << reason;
        EXPECT_EQ(result.error, "kiv: " + path + ": " + reason + "\n");
        unlink(path.c_str());
    };
    std::string cyclic = tree_text.substr(0, 1000);
    cyclic.replace(offsetof(kiv_array_tree_node, child_count), 4, std::string("\0\1\0\0", 4));
    cyclic[offsetof(kiv_array_tree_node, childlist_mask)] = 0;
    write_file(path, cyclic);
    refused("node 0: node is its own descendant");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    refused("not a regular file");
    write_file(path, tree_text);
}

} // namespace
