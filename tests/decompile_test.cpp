// The way back from a compiled tree to its grammar.

#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

#include <kiv/extras.h>

#include "grammar/compile.h"
#include "grammar/decompile.h"

using kiv::grammar::compile;
using kiv::grammar::decompile;
using kiv::grammar::decompiled;
using kiv::grammar::result;

using namespace std::string_view_literals;

namespace {

using tree = std::vector<kiv_array_tree_node>;

std::string bytes_of(const tree &nodes)
{
    return {reinterpret_cast<const char *>(nodes.data()), nodes.size() * sizeof nodes[0]};
}

void expect_round_trip(const std::string &grammar)
{
    const result compiled = compile(grammar);
    ASSERT_TRUE(compiled.errors.empty()) << compiled.errors[0].text << '\n' << grammar;
    const decompiled back = decompile(compiled.nodes);
    ASSERT_FALSE(back.fault) << back.fault->why << '\n' << grammar;
    EXPECT_TRUE(bytes_of(compile(back.text).nodes) == bytes_of(compiled.nodes))
        << grammar << "became\n"
        << back.text;
}

// What is written is as a person would write it: these texts come back as they are.
TEST(Decompile, WritesReadableGrammar)
{
    const char *grammars[] = {
        "root\n"
        "  terminal\n",

        "module lab\n\n"
        "root\n"
        "  submode \"switch\"\n"
        "  priority 3\n\n"
        "keyword show \"Show \\\"it\\\" \\\\\"\n"
        "  name \"the show\"\n"
        "  module own\n"
        "  handler f\n"
        "  generator g\n"
        "  priority 1\n"
        "  roles network-operator svc-admin 7 9-11\n"
        "  interfaces 0x8000000000000001\n"
        "  token-id -2147483648\n"
        "  command-id 7\n"
        "  message-type 944\n"
        "  internal-function 65535\n"
        "  optional 1\n"
        "  action 0x80000010\n"
        "  argument int 0..3600 \"Seconds\"\n"
        "    or vsan 1..4093\n"
        "    name deep\n"
        "    run set\n"
        "    submode \"\" \"help\"\n"
        "    link end\n\n"
        "keyword end\n"
        "  name end\n"
        "  terminal\n"
        "  roles none\n"
        "  link \"the show\"\n"
        "link deep\n",

        "keyword a\n  terminal\n\n"
        "module m\n\n"
        "keyword b\n  terminal\n\n"
        "keyword c\n  keyword d\n    terminal\n  keyword e\n    module n\n    terminal\n\n"
        "module \"\"\n\n"
        "keyword f\n  terminal\n  roles 0-126\n",
    };
    for (const char *grammar : grammars) {
        ASSERT_NO_FATAL_FAILURE(expect_round_trip(grammar));
        EXPECT_EQ(decompile(compile(grammar).nodes).text, grammar);
    }
}

TEST(Decompile, BringsBackTheTreesOfTheLab)
{
    for (const char *name : {"grammar/kiv", "grammar/kept", "vsan_module/vsan"}) {
        std::ifstream file(std::string(GRAMMAR_DIR "/") + name + ".grammar");
        ASSERT_TRUE(file) << name;
        std::ostringstream grammar;
        grammar << file.rdbuf();
        expect_round_trip(grammar.str());
    }
}

TEST(Decompile, BringsBackEveryTypeAndEveryText)
{
    std::istringstream types(
        "int,int -2147483648..2147483647,int -5..-1,int 0..0,int subtype 7,int-multi-range,hex,"
        "hex 10..0xff,hex-multi-range subtype 4294967295,vsan,vsan 0..0,vsan-range 5..10,string,"
        "string 0,string 2147483647,line,uri,uri 0,uri 0xffffffff,interface,interface 0,"
        "interface-range 0x8000000000000000,ipv4,mac,fc-id");
    for (std::string type; std::getline(types, type, ',');)
        expect_round_trip("argument " + type + "\n  or " + type + " \"32\"\n  terminal\n");
    std::istringstream texts(
        "x,\"two words\",\"\\\"q\\\" \\\\\",#no,!no,\\,\xC3\xBC\xE2\x82\xAC,root,"
        "\"a  b \",subtype,0x1");
    for (std::string text; std::getline(texts, text, ',');) {
        std::string grammar = "module T\nroot\n  submode T\nkeyword a\n  name T\n  run T\n"
                              "  submode T \"h \\\"\\\\\"\n  generator T\n  module b\n  link T\n";
        for (size_t at; (at = grammar.find('T')) != std::string::npos;)
            grammar.replace(at, 1, text);
        expect_round_trip(grammar);
    }
}

// Four nodes: the root, "a", "b" and the argument below it.
tree small_tree()
{
    return compile("keyword a\n  name n\n  run f\n"
                   "keyword b \"h\"\n  argument int 1..2\n    or mac\n    run g\n  link n\n")
        .nodes;
}

// Trees as other tools may make them.
TEST(Decompile, SaysWhatGrammarCannot)
{
    const struct {
        size_t changed; // the node and offset at which `bytes` are put
        size_t offset;
        std::string_view bytes;
        uint32_t node;
        const char *why;
    } cases[] = {
        {2, 992, "x", 2, "no statement makes what is in its reserved bytes"},
        {3, 559, "x", 3, "no statement makes what is in its second parameter"},
        {0, 950, "\x01", 0, "no statement makes what is in its children"},
        {3, 360, "\x40\x10\x00\x7F"sv, 3, "its type 0x4010007f has no name"},
        {3, 443, "\0"sv, 3, "expected MIN..MAX with MIN not above MAX, found \"1..0\""},
        {2, 96, "a\nkeyword c", 2, "expected text, found \"a\\x0akeyword c\""},
        {2, 64, "two words", 2, "expected TOKEN without blanks"},
        {2, 64, "a", 2, "expected siblings with different tokens"},
        {3, 335, "\0"sv, 3, "expected \"run\", \"terminal\" or a node below"},
        {1, 0, "\0"sv, 2, "it links to node 1, which has no name"},
        {3, 0, "n", 3, "expected a name of its own for every node"},
        {2, 571, "\0"sv, 2, "it links to the root"},
        {0, 568, "\0\2\0\1"sv, 1, "it does not stand where its line would be"},
        {2, 952, "\0"sv, 1, "it is a child in more than one place"},
        {2, 567, "\0"sv, 3, "no node has it for a child"},
    };
    for (const auto &each : cases) {
        tree nodes = small_tree();
        each.bytes.copy(reinterpret_cast<char *>(&nodes[each.changed]) + each.offset,
                        each.bytes.size());
        const decompiled refused = decompile(nodes);
        EXPECT_EQ(refused.text, "") << each.why;
        ASSERT_TRUE(refused.fault) << each.why;
        EXPECT_EQ(refused.fault->node, each.node) << each.why;
        EXPECT_THAT(refused.fault->why, testing::StartsWith(each.why));
    }
}

// What is written is the whole tree, or nothing, whichever byte differs.
TEST(Decompile, LosesNoByte)
{
    const tree sound = small_tree();
    const size_t size = sound.size() * sizeof sound[0];
    size_t written = 0;
    for (size_t i = 0; i < size; ++i) {
        tree nodes = sound;
        reinterpret_cast<unsigned char *>(nodes.data())[i] ^= 0x01;
        if (kiv_tree_check(nodes.data(), size, nullptr) != 0)
            continue;
        const decompiled back = decompile(nodes);
        ASSERT_NE(back.text.empty(), !back.fault) << i;
        if (back.fault)
            continue;
        ++written;
        ASSERT_TRUE(bytes_of(compile(back.text).nodes) == bytes_of(nodes)) << i;
    }
    EXPECT_GT(written, 100U);
    const kiv_array_tree_node root{};
    EXPECT_TRUE(decompile({&root, 1}).fault) << "there is no grammar of nothing";
}

} // namespace
