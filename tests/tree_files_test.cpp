// Tree files on the switch: the compressed default tree, and the tree that the shell has mapped.

#include <cstring>
#include <string>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <kiv/parfile.h>

#include "bus_fault.h"
#include "small_tree.h"
#include "support/published_trees.h"
#include "switch_root.h"

namespace {

using kiv::support::publish_tree;
using switch_root::outcome;
using switch_root::read_file;
using switch_root::write_file;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::string default_tree = "/ubex/etc/par/default/main_tree.par";
const std::string compressed_tree = default_tree + ".gz";

class DefaultTree : public ::testing::Test {
protected:
    void SetUp() override
    {
        switch_root::require();
        ASSERT_TRUE(mkdir("/ubex/etc/par/default", 0755) == 0 || errno == EEXIST);
        unlink(default_tree.c_str());
        unlink(compressed_tree.c_str());
    }

    static unsigned mode_of_default_tree()
    {
        struct stat status {};
        return stat(default_tree.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
    }
};

TEST_F(DefaultTree, IsCompressedInItsPlaceAndExpandedAgain)
{
    const std::string content(100000, 'x');
    write_file(default_tree, content);
    write_file(compressed_tree, "older");
    EXPECT_EQ(kiv_default_parse_tree_zip(), 0);
    EXPECT_EQ(mode_of_default_tree(), 0U) << "still there";
    EXPECT_LT(read_file(compressed_tree).size(), 1000U);
    EXPECT_THAT(read_file(compressed_tree), StartsWith("\x1F\x8B"));
    EXPECT_EQ(kiv_default_parse_tree_unzip(), 0);
    EXPECT_EQ(read_file(default_tree), content);
    EXPECT_NE(access(compressed_tree.c_str(), F_OK), 0);
    EXPECT_EQ(mode_of_default_tree(), 0666U);
}

TEST_F(DefaultTree, IsLeftAloneWhereNothingCanBeDone)
{
    EXPECT_EQ(kiv_default_parse_tree_zip(), -1);
    EXPECT_EQ(kiv_default_parse_tree_unzip(), -1);
    write_file(compressed_tree, "no compressed file");
    EXPECT_EQ(kiv_default_parse_tree_unzip(), -1);
    write_file(default_tree, "tree");
    ASSERT_EQ(chmod(default_tree.c_str(), 0600), 0);
    EXPECT_EQ(kiv_default_parse_tree_unzip(), 0);
    EXPECT_EQ(mode_of_default_tree(), 0600U);
    EXPECT_EQ(read_file(compressed_tree), "no compressed file");
    setenv("PATH", "/nowhere", 1);
    EXPECT_EQ(kiv_default_parse_tree_zip(), 127 << 8) << "the status of the command";
    EXPECT_EQ(read_file(default_tree), "tree");
}

class ShellTree : public ::testing::Test, protected kiv_shell::testing::small_tree {
protected:
    void SetUp() override { switch_root::require(); }

    std::string bytes() const
    {
        return {reinterpret_cast<const char *>(nodes.data()), nodes.size() * sizeof nodes[0]};
    }

    static outcome run_shell() { return switch_root::run("/usr/sbin/kiv.bin -c 'show versoin'"); }

    // A shell that runs a command, has its tree changed by the line given, and runs another one.
    static outcome run_while(const std::string &line)
    {
        write_file("/ubex/script", "coproc /usr/sbin/kiv.bin\n"
                                   "shell=$COPROC_PID\n"
                                   "exec 3<&${COPROC[0]} 4>&${COPROC[1]}\n"
                                   "eval \"exec ${COPROC[1]}>&-\"; trap '' PIPE\n"
                                   "echo show version >&4; read -ru 3 first; echo \"$first\"\n" +
                                       line +
                                       "\necho show version >&4\n"
                                       "exec 4>&-; cat <&3; wait $shell\n");
        return switch_root::run("exec bash /ubex/script");
    }
};

TEST_F(ShellTree, IsThePublishedOne)
{
    EXPECT_THAT(run_shell().error, HasSubstr("expected: running-config, version\n"));
    std::string name;
    ASSERT_EQ(publish_tree(kiv::support::published_directory, bytes(), name), 0);
    EXPECT_THAT(run_shell().error, HasSubstr("expected: running-config, version, vsan\n"));
    unlink(("/ubex/etc/par/" + name).c_str());
    EXPECT_EQ(run_shell().error, "kiv: /ubex/etc/par/" + name + ": No such file or directory\n");
}

TEST_F(ShellTree, StaysWhenAnotherFileTakesItsPlace)
{
    write_file("/ubex/other", "no tree");
    const outcome result = run_while("mv /ubex/other /ubex/etc/par/main_tree.par");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.error, "");
    const size_t half = result.output.size() / 2;
    EXPECT_EQ(result.output.substr(0, half), result.output.substr(half));
    EXPECT_EQ(run_shell().status, 2);
}

TEST_F(ShellTree, EndsTheShellThatRunsWhenItIsCut)
{
    SKIP_UNLESS_FAULTS_ARE_LOCATED();
    const outcome result = run_while(": >/ubex/etc/par/main_tree.par");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error, HasSubstr(": /ubex/etc/par/main_tree.par: was cut while in use\n"));
    EXPECT_EQ(result.output.rfind("Shell:"), 0U) << "an answer from nowhere";
}

TEST_F(ShellTree, HasALimit)
{
    const std::string path = "/ubex/large.par";
    write_file(path, "");
    ASSERT_EQ(truncate(path.c_str(), off_t{100} << 20), 0);
    kiv_shell::tree_file file;
    EXPECT_EQ(file.open(path), kiv_shell::failure(path + ": File too large"));
}

TEST_F(ShellTree, IsNeverLeftWhateverItsBytesBecome)
{
    for (const int byte : {0xFF, 0x80, 0x01}) {
        std::memset(nodes.data(), byte, nodes.size() * sizeof nodes[0]);
        for (kiv_shell::node_index node = 0; node < nodes.size(); ++node) {
            ASSERT_LE(tree.child_count(node), size_t{KIV_NODE_MAX_CHILDREN});
            for (size_t i = 0; i < tree.child_count(node); ++i)
                ASSERT_LT(tree.child(node, i), nodes.size());
            ASSERT_LE(tree.parameters(node).size(), size_t{KIV_NODE_MAX_PARAMETERS});
            ASSERT_LE(tree.token(node).size(), sizeof nodes[0].token);
        }
        EXPECT_NE(parsed(config, "show version"), "");
    }
}

} // namespace
