// kivctl tree as a user runs it: the files that it makes, what it prints and how it ends.

#include <cstdlib>
#include <cstring>
#include <string>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "grammar/compile.h"
#include "switch_root.h"
#include "temporary_directory.h"
#include "trees.h"
#include "usage.h"

using kiv::grammar::compile;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

// Keywords a0, a1, ... that end a command each.
std::string leaves(size_t count)
{
    std::string grammar;
    for (size_t i = 0; i < count; ++i)
        grammar += "keyword a" + std::to_string(i) + "\n  terminal\n";
    return grammar;
}

// kivctl as a process, in a folder of its own.
class TreeCommand : public testing::Test, protected kiv_tests::temporary_directory {
protected:
    static void SetUpTestSuite() { switch_root::require(); }

    // Runs in the folder; "%" in the line is the program.
    int run(std::string line) const
    {
        for (size_t at; (at = line.find('%')) != std::string::npos;)
            line.replace(at, 1, "'" KIVCTL_PATH "' tree");
        const int status = std::system(("cd " + path() + " && (" + line + ") >out 2>err").c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::string files() const
    {
        run("ls -A | grep -v -e out -e err | sort | tr '\\n' ' '");
        return read("out");
    }
};

TEST_F(TreeCommand, MakesAFileThatIsTheTree)
{
    const std::string grammar = leaves(2);
    write("g", grammar);
    EXPECT_EQ(run("umask 027 && % compile g -o t.par"), 0) << read("err");
    EXPECT_EQ(read("out") + read("err"), "t.par: 3 nodes\n");
    const auto nodes = compile(grammar).nodes;
    const std::string content = read("t.par");
    ASSERT_EQ(content.size(), 3000U);
    EXPECT_EQ(std::memcmp(content.data(), nodes.data(), content.size()), 0);
    EXPECT_EQ(files(), "g t.par ");
    struct stat status;
    ASSERT_EQ(stat(path("t.par").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

TEST_F(TreeCommand, ReadsPipesAndWritesToDevices)
{
    write("g", leaves(1));
    EXPECT_EQ(run("% compile - -o t.par < g"), 0) << read("err");
    EXPECT_EQ(run("% check - < t.par"), 0);
    EXPECT_EQ(read("out"), "-: sound, 2 nodes\n");
    EXPECT_EQ(run("% compile g -o /dev/full"), 1);
    EXPECT_EQ(read("err"), "kivctl: /dev/full: No space left on device\n");
    EXPECT_EQ(run("test -c /dev/full"), 0) << "replaced by a file";
}

TEST_F(TreeCommand, KeepsLinksAndTheModeOfAFile)
{
    write("g", leaves(1));
    run("mkdir sub && touch sub/t.par && chmod 600 sub/t.par && ln -s sub/t.par a && ln -s sub/u "
        "b");
    EXPECT_EQ(run("% compile g -o a && % compile g -o b"), 0) << read("err");
    run("find . -type l -o -path './sub/*' | sort; find . -perm 600 -size 2000c");
    EXPECT_EQ(read("out"), "./a\n./b\n./sub/t.par\n./sub/u\n./sub/t.par\n");
}

TEST_F(TreeCommand, LeavesTheOldFileWhenItFails)
{
    write("good", leaves(100));
    write("bad", "keyword a\nrun\n");
    write("t.par", "old");
    const char *cases[][2] = {
        {"% compile bad -o t.par",
         "bad:1: expected \"run\", \"terminal\" or a node below this one, "
         "found none of them\nbad:2: expected \"run\" below"},
        {"% compile missing -o t.par", "kivctl: missing: No such file or directory\n"},
        {"% compile . -o t.par", "kivctl: .: Is a directory\n"},
        {"% compile /dev/zero -o t.par", "kivctl: /dev/zero: File too large\n"},
        {"% compile good -o .", "kivctl: .: Is a directory\n"},
        {"ln good same; % compile good -o same; s=$?; rm same; exit $s",
         "kivctl: same: is the grammar itself\n"},
        {"% compile - -o good <good", "kivctl: good: is the grammar itself\n"},
        {"% compile good -o missing/t.par", "kivctl: missing/t.par: No such file or directory\n"},
        {"ulimit -f 16; % compile good -o t.par", "kivctl: t.par: File too large\n"},
    };
    for (const auto &[line, error] : cases) {
        EXPECT_EQ(run(line), 1) << line;
        EXPECT_THAT(read("err"), StartsWith(error)) << line;
        EXPECT_EQ(read("out"), "") << line;
        EXPECT_EQ(read("t.par"), "old") << line;
        EXPECT_EQ(files(), "bad good t.par ") << line;
    }
}

TEST_F(TreeCommand, ShowsATreeInEveryForm)
{
    const std::string grammar = "keyword a\n  name n\n  run f\n  submode \"p\"\n\n"
                                "keyword b\n  argument int\n    terminal\n    link n\n";
    write("g", grammar);
    ASSERT_EQ(run("% compile g -o t.par"), 0) << read("err");
    const char *cases[][2] = {
        {"% check t.par", "t.par: sound, 4 nodes\n"},
        {"% check --json - <t.par", "{\"file\": \"-\", \"sound\": true, \"nodes\": 4}\n"},
        {"% dump t.par", "<NODE> "},
        {"cat t.par | % show -", "a [n]       run f\n            submode \"p\"\n"},
        {"% show --json t.par", "{\"nodes\": 4,\n\"root\": {\"node\": 0, "},
        {"% show --grammar t.par", grammar.c_str()},
        {"% stats t.par", "nodes          4\ncommands       2\n"},
        {"% stats --json t.par", "{\"nodes\": 4, \"commands\": 2, "},
        {"% graph t.par", "digraph tree {\n"},
        {"% graph t.par -o t.dot && cat t.dot", "digraph tree {\n"},
    };
    for (const auto &[line, output] : cases) {
        EXPECT_EQ(run(line), 0) << line << '\n' << read("err");
        EXPECT_THAT(read("out"), StartsWith(output)) << line;
        EXPECT_EQ(run("(" + std::string(line) + ") >/dev/full") != 0, true) << line;
    }
    EXPECT_EQ(run("% graph t.par -o t.par"), 1);
    EXPECT_EQ(read("err"), "kivctl: t.par: is the tree itself\n");
}

TEST_F(TreeCommand, RefusesToWriteGrammarThatIsNotTheTree)
{
    write("g", leaves(2));
    ASSERT_EQ(run("% compile g -o t.par"), 0);
    std::string tree = read("t.par");
    tree.back() = 'x';
    write("odd.par", tree);
    EXPECT_EQ(run("% show --grammar odd.par"), 1);
    EXPECT_EQ(read("out"), "");
    EXPECT_EQ(read("err"),
              "kivctl: odd.par: node 2 cannot be written as grammar: no statement makes "
              "what is in its reserved bytes\n");
}

TEST_F(TreeCommand, RefusesUnsoundTrees)
{
    write("g", leaves(1));
    ASSERT_EQ(run("% compile g -o t.par"), 0);
    std::string tree = read("t.par");
    tree[1000 + 566] = '\x7F';
    write("bad.par", tree);
    write("cut.par", tree.substr(0, 1999));
    write("empty.par", "");
    const char *cases[][2] = {
        {"bad.par", "bad.par: node 1: more children than a node holds\n"},
        {"cut.par", "cut.par: size is not a whole number of nodes\n"},
        {"empty.par", "empty.par: no node\n"},
    };
    for (const auto &[name, fault] : cases) {
        EXPECT_EQ(run(std::string("% check ") + name), 1);
        EXPECT_EQ(read("out"), fault);
        for (const char *job :
             {"dump", "show", "show --grammar", "graph", "stats", "publish -d ."}) {
            EXPECT_EQ(run(std::string("% ") + job + ' ' + name), 1) << job;
            EXPECT_EQ(read("out"), "") << job;
            EXPECT_EQ(read("err"), std::string("kivctl: ") + fault) << job;
        }
    }
    EXPECT_EQ(run("% check --json bad.par"), 1);
    EXPECT_EQ(read("out"),
              "{\"file\": \"bad.par\", \"sound\": false, \"node\": 1, \"fault\": \"more "
              "children than a node holds\"}\n");
    EXPECT_EQ(run("% check --json empty.par"), 1);
    EXPECT_EQ(read("out"), "{\"file\": \"empty.par\", \"sound\": false, \"fault\": \"no node\"}\n");
    EXPECT_EQ(run("head -c 66000000 /dev/zero >long.par; % check long.par"), 1);
    EXPECT_EQ(read("out"), "long.par: more nodes than an index can name\n");
}

TEST_F(TreeCommand, RefusesADumpThatWouldNotEnd)
{
    trees::tree ladder = trees::of_nodes(2 * 31);
    for (size_t owner = 0; owner + 2 < ladder.size(); ++owner) {
        trees::add_child(ladder, owner, static_cast<uint16_t>(owner / 2 * 2 + 2));
        trees::add_child(ladder, owner, static_cast<uint16_t>(owner / 2 * 2 + 3));
    }
    write("ladder.par",
          {reinterpret_cast<const char *>(ladder.data()), ladder.size() * sizeof ladder[0]});
    EXPECT_EQ(run("% dump ladder.par"), 1);
    EXPECT_EQ(read("err"), "kivctl: ladder.par: nodes are shared so often that the dump would have "
                           "over 12648448 lines\n");
    EXPECT_EQ(run("% show ladder.par"), 0);
}

// What stands for dot says what it got, and what it is told to say.
TEST_F(TreeCommand, HasDotDrawThePicture)
{
    write("g", leaves(1));
    ASSERT_EQ(
        run("% compile g -o t.par && mkdir bin none && % graph t.par >t.dot && cp t.par x.svg"), 0);
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
    EXPECT_EQ(run("PATH=$PWD/none; % graph --svg t.par"), 1);
    EXPECT_EQ(read("err"), "kivctl: t.par: dot (package graphviz) is not installed\n");
}

TEST_F(TreeCommand, PublishesATreeForTheShell)
{
    write("g", leaves(1));
    ASSERT_EQ(run("mkdir -p d /ubex/etc/par && % compile g -o t.par"), 0);
    EXPECT_EQ(run("% publish --directory d t.par && % publish -d d - <t.par"), 0) << read("err");
    EXPECT_EQ(read("out"), "merged0.par\nmerged1.par\n");
    EXPECT_EQ(read("d/merged1.par"), read("t.par"));
    EXPECT_EQ(run("% publish t.par && cmp t.par /ubex/etc/par/merged0.par"), 0) << read("err");
    EXPECT_EQ(run("% publish -d missing t.par"), 1);
    EXPECT_EQ(read("err"), "kivctl: missing: No such file or directory\n");
}

TEST_F(TreeCommand, ZipsAndUnzipsTheDefaultTree)
{
    const std::string tree = "/ubex/etc/par/default/main_tree.par";
    run("mkdir -p bin /ubex/etc/par/default; rm -f " + tree + "*");
    EXPECT_EQ(run("% zip"), 1);
    EXPECT_EQ(read("err"), "kivctl: " + tree + ": No such file or directory\n");
    EXPECT_EQ(run("% unzip"), 1);
    EXPECT_THAT(read("err"), EndsWith("kivctl: " + tree + ".gz: could not be expanded\n"));
    EXPECT_EQ(run("echo x >" + tree + "; % zip && gzip -dc " + tree + ".gz"), 0);
    EXPECT_EQ(read("out"), tree + ".gz\nx\n");
    EXPECT_EQ(run("% unzip && cat " + tree), 0);
    EXPECT_EQ(read("out"), tree + "\nx\n");
    write("bin/gzip", "#!/bin/sh\nexit 3\n");
    EXPECT_EQ(run("chmod +x bin/gzip; PATH=$PWD/bin:$PATH; % zip"), 1);
    EXPECT_EQ(read("err"), "kivctl: " + tree + ": gzip ended with status 3\n");
}

TEST_F(TreeCommand, ShowsItsUsage)
{
    const std::string program = "'" KIVCTL_PATH "' tree ";
    kiv_tests::expect_help(program, {"", "compile", "check", "dump", "show", "graph", "stats",
                                     "publish", "zip", "unzip"});
    kiv_tests::expect_refused(program, {{""},
                                        {"make g"},
                                        {"compile g"},
                                        {"compile a b -o t.par"},
                                        {"check"},
                                        {"check a -o b", "kivctl tree check: "},
                                        {"compile --json a -o b", "kivctl tree compile: "},
                                        {"compile g -o", "kivctl tree compile: "},
                                        {"show --json --grammar a"},
                                        {"publish -d a -d b c"}});
}

} // namespace
