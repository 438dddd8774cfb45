// kivctl tree as a user runs it: the files that it makes, what it prints and how it ends.

#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <sys/wait.h>

#include "grammar/compile.h"
#include "switch_root.h"
#include "temporary_directory.h"
#include "trees.h"
#include "usage.h"

using testing::EndsWith;
using testing::StartsWith;

namespace {

const std::string grammar = "keyword a\n  name n\n  run f\n  submode \"p\"\n\n"
                            "keyword b\n  argument int\n    terminal\n    link n\n";

// kivctl as a process, in a folder of its own with a grammar and its tree.
class TreeCommand : public testing::Test, protected kiv_tests::temporary_directory {
protected:
    static void SetUpTestSuite() { switch_root::require(); }

    void SetUp() override
    {
        write("g", grammar);
        ASSERT_EQ(run("% compile g -o t.par"), 0) << read("err");
        ASSERT_EQ(read("out") + read("err"), "t.par: 4 nodes\n");
    }

    // Runs in the folder; "%" in the line is the program.
    int run(std::string line) const
    {
        for (size_t at; (at = line.find('%')) != std::string::npos;)
            line.replace(at, 1, "'" KIVCTL_PATH "' tree");
        const int status = std::system(("cd " + path() + " && (" + line + ") >out 2>err").c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    void write_tree(const std::string &name, const trees::tree &nodes) const
    {
        write(name, {reinterpret_cast<const char *>(nodes.data()), nodes.size() * sizeof nodes[0]});
    }

    void expect_error(const std::string &line, const std::string &error) const
    {
        EXPECT_EQ(run(line), 1) << line;
        EXPECT_EQ(read("err"), error) << line;
        EXPECT_EQ(read("out"), "") << line;
    }
};

TEST_F(TreeCommand, CompilesFromPipesIntoFilesAndThroughLinks)
{
    write_tree("expected", kiv::grammar::compile(grammar).nodes);
    const char *cases[][2] = {
        {"umask 027; % compile - -o n.par <g && cmp n.par expected && find n.par -perm 640",
         "n.par: 4 nodes\nn.par\n"},
        {"umask 077; chmod 666 t.par; mkdir s && ln -s ../t.par s/a && ln -s ../u s/b &&"
         "% compile g -o s/a && % compile g -o s/b && find s -type l | sort;"
         "find t.par -perm 666; cmp u expected",
         "s/a: 4 nodes\ns/b: 4 nodes\ns/a\ns/b\nt.par\n"},
        {"% compile g -o /dev/full; test -c /dev/full && ls",
         "kivctl: /dev/full: No space left on device\n"
         "err\nexpected\ng\nn.par\nout\ns\nt.par\nu\n"},
    };
    for (const auto &[line, output] : cases) {
        EXPECT_EQ(run("exec 2>&1; " + std::string(line)), 0) << line;
        EXPECT_EQ(read("out"), output);
    }
}

TEST_F(TreeCommand, LeavesTheOldFileWhenItFails)
{
    write("bad", "keyword a\nrun\n");
    write("t.par", "old");
    const char *cases[][2] = {
        {"% compile bad -o t.par",
         "bad:1: expected \"run\", \"terminal\" or a node below this one, found none of them\n"
         "bad:2: expected \"run\" below"},
        {"% compile missing -o t.par", "kivctl: missing: No such file or directory\n"},
        {"% compile . -o t.par", "kivctl: .: Is a directory\n"},
        {"truncate -s 257M long; % compile long -o t.par; s=$?; rm long; exit $s",
         "kivctl: long: File too large\n"},
        {"% compile g -o .", "kivctl: .: Is a directory\n"},
        {"ln g same; % compile g -o same; s=$?; rm same; exit $s",
         "kivctl: same: is the grammar itself\n"},
        {"% compile - -o g <g", "kivctl: g: is the grammar itself\n"},
        {"% compile g -o missing/t.par", "kivctl: missing/t.par: No such file or directory\n"},
        {"ulimit -f 2; % compile g -o t.par", "kivctl: t.par: File too large\n"},
    };
    for (const auto &[line, error] : cases) {
        EXPECT_EQ(run(line), 1) << line;
        EXPECT_THAT(read("err"), StartsWith(error)) << line;
        EXPECT_EQ(read("t.par"), "old") << line;
        run("ls -A");
        EXPECT_EQ(read("out"), "bad\nerr\ng\nout\nt.par\n") << line;
    }
}

TEST_F(TreeCommand, ShowsATreeInEveryForm)
{
    const char *cases[][2] = {
        {"% check - <t.par", "-: sound, 4 nodes\n"},
        {"% check --json - <t.par", "{\"file\": \"-\", \"sound\": true, \"nodes\": 4}\n"},
        {"% dump t.par", "<NODE> "},
        {"cat t.par | % show -", "a [n]       run f\n            submode \"p\"\n"},
        {"% show --json t.par", "{\"nodes\": 4,\n\"root\": {\"node\": 0, "},
        {"% show --grammar t.par", grammar.c_str()},
        {"% stats t.par", "nodes          4\ncommands       2\n"},
        {"% stats --json t.par", "{\"nodes\": 4, \"commands\": 2, "},
        {"% graph t.par -o t.dot && cat t.dot", "digraph tree {\n"},
    };
    for (const auto &[line, output] : cases) {
        EXPECT_EQ(run(line), 0) << line << '\n' << read("err");
        EXPECT_THAT(read("out"), StartsWith(output)) << line;
        EXPECT_NE(run("(" + std::string(line) + ") >/dev/full"), 0) << line;
    }
    expect_error("% graph t.par -o t.par", "kivctl: t.par: is the tree itself\n");
}

TEST_F(TreeCommand, RefusesWhatIsNoTreeAndWhatCannotBeShown)
{
    std::string tree = read("t.par");
    write("cut.par", tree.substr(0, 1999));
    tree.back() = 'x';
    write("odd.par", tree);
    tree[1000 + 566] = '\x7F';
    write("bad.par", tree);
    trees::tree ladder = trees::of_nodes(size_t{2} * 31);
    for (size_t owner = 0; owner + 2 < ladder.size(); ++owner) {
        trees::add_child(ladder, owner, static_cast<uint16_t>(owner / 2 * 2 + 2));
        trees::add_child(ladder, owner, static_cast<uint16_t>(owner / 2 * 2 + 3));
    }
    write_tree("ladder.par", ladder);
    for (const char *job : {"dump", "show", "show --grammar", "graph", "stats", "publish -d ."})
        expect_error(std::string("% ") + job + " bad.par",
                     "kivctl: bad.par: node 1: more children than a node holds\n");
    expect_error("% check /dev/zero", "kivctl: /dev/zero: File too large\n");
    expect_error("% show missing", "kivctl: missing: No such file or directory\n");
    expect_error("% show --grammar odd.par",
                 "kivctl: odd.par: node 3 cannot be written as grammar: no statement makes what is "
                 "in its reserved bytes\n");
    expect_error("% dump ladder.par", "kivctl: ladder.par: nodes are shared so often that the dump "
                                      "would have over 12648448 lines\n");
    const char *checked[][2] = {
        {"bad.par", "bad.par: node 1: more children than a node holds\n"},
        {"--json bad.par", "{\"file\": \"bad.par\", \"sound\": false, \"node\": 1, \"fault\": "
                           "\"more children than a node holds\"}\n"},
        {"cut.par", "cut.par: size is not a whole number of nodes\n"},
        {"--json - </dev/null", "{\"file\": \"-\", \"sound\": false, \"fault\": \"no node\"}\n"},
        {"long.par", "long.par: more nodes than an index can name\n"},
    };
    run("truncate -s 66000000 long.par");
    for (const auto &[arguments, fault] : checked) {
        EXPECT_EQ(run(std::string("% check ") + arguments), 1) << arguments;
        EXPECT_EQ(read("out"), fault);
    }
}

// What stands for dot says what it got, and what it is told to say.
TEST_F(TreeCommand, HasDotDrawThePicture)
{
    ASSERT_EQ(run("mkdir bin none && % graph t.par >t.dot && cp t.par x.svg"), 0);
    const struct {
        const char *script;
        const char *line;
        int status;
        const char *output;
        const char *error;
    } cases[] = {
        {"cat >got; echo \"<svg $*>\"", "graph --svg t.par && cmp got t.dot", 0, "<svg -Tsvg>\n",
         ""},
        {"echo '<svg/>'", "graph --svg t.par -o x.svg && cat x.svg", 0, "<svg/>\n", ""},
        {"head -c 300000 /dev/zero; cat >got", "graph --svg t.par | wc -c && cmp got t.dot", 0,
         "300000\n", ""},
        {"cat; echo why >&2; exit 3", "graph --svg t.par", 1, "",
         "why\nkivctl: t.par: dot ended with status 3\n"},
        {"kill -KILL $$", "graph --svg t.par -o t.dot", 1, "",
         "kivctl: t.par: dot was ended by signal 9\n"},
        {"cat", "graph --svg t.par >/dev/full", 1, "",
         "kivctl: standard output: No space left on device\n"},
        {"cat >got; echo '<svg/>'", "graph --svg t.par -o y.svg <&- >&- && cmp got t.dot", 0, "",
         ""},
    };
    for (const auto &each : cases) {
        write("bin/dot", std::string("#!/bin/sh\n") + each.script + '\n');
        EXPECT_EQ(run("chmod +x bin/dot; PATH=$PWD/bin:$PATH; % " + std::string(each.line)),
                  each.status)
            << each.script;
        EXPECT_EQ(read("out"), each.output) << each.script;
        EXPECT_EQ(read("err"), each.error) << each.script;
    }
    EXPECT_THAT(read("t.dot"), StartsWith("digraph")) << "left alone";
    expect_error("PATH=$PWD/none; % graph --svg t.par",
                 "kivctl: t.par: dot (package graphviz) is not installed\n");
}

TEST_F(TreeCommand, PublishesATreeForTheShell)
{
    run("mkdir -p d /ubex/etc/par");
    EXPECT_EQ(run("% publish --directory d t.par && % publish -d d - <t.par"), 0) << read("err");
    EXPECT_EQ(read("out"), "merged0.par\nmerged1.par\n");
    EXPECT_EQ(read("d/merged1.par"), read("t.par"));
    EXPECT_EQ(run("% publish t.par && cmp t.par /ubex/etc/par/merged0.par"), 0) << read("err");
    expect_error("% publish -d missing t.par", "kivctl: missing: No such file or directory\n");
}

TEST_F(TreeCommand, ZipsAndUnzipsTheDefaultTree)
{
    const std::string tree = "/ubex/etc/par/default/main_tree.par";
    run("mkdir -p bin /ubex/etc/par/default; rm -f " + tree + "*");
    expect_error("% zip", "kivctl: " + tree + ": No such file or directory\n");
    EXPECT_EQ(run("% unzip"), 1);
    EXPECT_THAT(read("err"), EndsWith("kivctl: " + tree + ".gz: could not be expanded\n"));
    EXPECT_EQ(run("echo x >" + tree + "; % zip && % unzip && cat " + tree), 0);
    EXPECT_EQ(read("out"), tree + ".gz\n" + tree + "\nx\n");
    write("bin/gzip", "#!/bin/sh\nexit 3\n");
    expect_error("chmod +x bin/gzip; PATH=$PWD/bin:$PATH; % zip",
                 "kivctl: " + tree + ": gzip ended with status 3\n");
}

TEST_F(TreeCommand, ShowsItsUsage)
{
    const std::string program = "'" KIVCTL_PATH "' tree ";
    kiv_tests::expect_help(program, {"", "compile", "graph"});
    kiv_tests::expect_refused(
        program, {{"", "kivctl tree: no JOB\nusage: "},
                  {"make g", "kivctl tree: no job \"make\"\nusage: "},
                  {"compile a b -o t.par", "kivctl tree compile: unexpected \"b\"\nusage: "},
                  {"compile a", "kivctl tree compile: no --output\nusage: "},
                  {"check a -o b", "kivctl tree check: "},
                  {"compile g -o", "kivctl tree compile: "},
                  {"show --json --grammar a"},
                  {"publish -d a -d b c"}});
}

} // namespace
