// The tree compiler: what each line of a grammar becomes, what is said about a wrong one, and the
// way back.

#include <cstring>
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
using kiv::grammar::diagnostic;
using kiv::grammar::result;
using testing::HasSubstr;

using namespace std::string_literals;
using namespace std::string_view_literals;

namespace {

using tree = std::vector<kiv_array_tree_node>;

std::string report(const result &compiled)
{
    std::string text;
    for (const diagnostic &error : compiled.errors)
        text += std::to_string(error.line) + ": " + error.text + '\n';
    return text;
}

tree nodes_of(std::string_view grammar)
{
    result compiled = compile(grammar);
    EXPECT_EQ(report(compiled), "") << grammar.substr(0, 200);
    if (compiled.nodes.empty())
        compiled.nodes.resize(1);
    return compiled.nodes;
}

// The bytes of a record as a file has them, in hexadecimal.
std::string bytes_at(const kiv_array_tree_node &node, size_t offset, size_t count)
{
    std::string text;
    for (size_t i = offset; i < offset + count; ++i) {
        constexpr std::string_view digits = "0123456789abcdef";
        const unsigned byte = reinterpret_cast<const unsigned char *>(&node)[i];
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

std::string repeated(std::string_view text, size_t times)
{
    std::string all;
    for (size_t i = 0; i < times; ++i)
        all += text;
    return all;
}

// Keywords a0, a1, ... that end a command each.
std::string leaves(size_t count)
{
    std::string grammar;
    for (size_t i = 0; i < count; ++i)
        grammar += "keyword a" + std::to_string(i) + "\n  terminal\n";
    return grammar;
}

// Keywords below one another, as many as there are levels below the root.
std::string chain(size_t levels)
{
    std::string grammar;
    for (size_t i = 0; i < levels; ++i)
        grammar += std::string(2 * i, ' ') + "keyword k\n";
    return grammar + std::string(2 * levels, ' ') + "terminal\n";
}

// Keyword "k" with one property, or an argument with its operands: node 1.
kiv_array_tree_node with_property(const std::string &property)
{
    return nodes_of("keyword k\n  keyword below\n    terminal\n  " + property + '\n').at(1);
}

kiv_array_tree_node with_argument(const std::string &operands)
{
    return nodes_of("argument " + operands + "\n  terminal\n").at(1);
}

TEST(Grammar, MakesNodesInTheOrderOfTheLinesAndMarksLinks)
{
    const auto nodes = nodes_of("keyword first\n  link shared\n"
                                "  keyword inner\n    link deep\n"
                                "  name first-node\n"
                                "argument line\n  name shared\n  run finish\n"
                                "keyword last\n  link shared\n"
                                "  keyword x\n    link first-node\n"
                                "  keyword deep\n    name deep\n    terminal\n"
                                "  link first-node\n");
    ASSERT_EQ(nodes.size(), 7U);
    const char *tokens[] = {"", "first", "inner", "", "last", "x", "deep"};
    const char *children[] = {"0003000100030004",     "000200030002", "00010006", "0000",
                              "00040003000500060001", "00010001",     "0000"};
    const char *first_link_byte[] = {"00", "01", "01", "00", "09", "01", "00"};
    for (size_t i = 0; i < nodes.size(); ++i) {
        EXPECT_STREQ(nodes[i].token, tokens[i]) << i;
        EXPECT_EQ(bytes_at(nodes[i], 566, std::strlen(children[i]) / 2), children[i]) << i;
        EXPECT_EQ(bytes_at(nodes[i], 952, 1), first_link_byte[i]) << i;
    }
}

TEST(Grammar, MarksALinkInTheLastPlaceOfANode)
{
    const auto root = nodes_of("keyword a\n  name a\n  keyword b\n    name b\n    terminal\n" +
                               leaves(190) + "link b\n")[0];
    EXPECT_EQ(bytes_at(root, 566, 2), "00c0");
    EXPECT_EQ(bytes_at(root, 950, 34), "0002" + repeated("00", 23) + "80" + repeated("00", 8));
}

TEST(Grammar, StoresEveryPropertyInItsField)
{
    const struct {
        const char *line;
        size_t offset;
        std::string bytes;
    } cases[] = {
        {"run f", 332, "00000004"},
        {"handler f", 332, "00000000"},
        {"action 0x10\n  submode p\n  run f", 332, "0000001c"},
        {"optional 0x1234", 328, "1234"},
        {"message-type 944", 330, "03b0"},
        {"action 0x80000011", 332, "80000011"},
        {"token-id -2", 336, "fffffffe"},
        {"command-id 2147483647", 340, "7fffffff"},
        {"internal-function 65535", 560, "ffff"},
        {"priority 258", 564, "0102"},
        {"interfaces 0x0102030405060708", 984, "0102030405060708"},
        {"roles none", 344, repeated("00", 16)},
        {"roles network-operator svc-admin svc-operator", 344, "0e" + repeated("00", 15)},
        {"roles 127 6-9", 344, "c003" + repeated("00", 13) + "80"},
        {"roles 0-127", 344, repeated("ff", 16)},
    };
    for (const auto &each : cases)
        EXPECT_EQ(bytes_at(with_property(each.line), each.offset, each.bytes.size() / 2),
                  each.bytes)
            << each.line << " at " << each.offset;
}

TEST(Grammar, StoresEveryTypeWithItsBounds)
{
    const struct {
        const char *operands;
        const char *type;
        const char *bounds; // minimum, maximum and subtype
        const char *type_mask = "0000000000000000";
    } cases[] = {
        {"int", "40100001", "800000007fffffff00000000"},
        {"int subtype 7", "40100001", "000000000000000000000007"},
        {"hex", "40100004", "00000000ffffffff00000000"},
        {"hex 10..0xff", "40100004", "00000010000000ff00000000"},
        {"vsan", "40400001", "0000000100000ffd00000000"},
        {"vsan-multi-range subtype 4294967295", "40400004", "0000000000000000ffffffff"},
        {"string 32", "00000001", "000000200000000000000000"},
        {"uri", "00000004", "ffffffff0000000000000000"},
        {"uri 0x5", "00000004", "000000050000000000000000"},
        {"interface", "40200001", "000000000000000000000000", "ffffffffffffffff"},
        {"interface-range 0x8000000000000000", "40200002", "000000000000000000000000",
         "8000000000000000"},
        {"fc-id", "40600001", "000000000000000000000000"},
    };
    for (const auto &each : cases) {
        const auto node = with_argument(each.operands + std::string(" \"h\""));
        EXPECT_EQ(bytes_at(node, 360, 4), each.type) << each.operands;
        EXPECT_EQ(bytes_at(node, 364, 8), each.type_mask) << each.operands;
        EXPECT_EQ(bytes_at(node, 436, 12), each.bounds) << each.operands;
        EXPECT_EQ(bytes_at(node, 372, 2), "6800") << each.operands << ": help";
        EXPECT_EQ(bytes_at(node, 562, 2), "0001") << each.operands << ": count";
    }
    const auto two = with_argument("string \"32\"\n  or mac \"address\"");
    EXPECT_STREQ(two.parameters[0].help, "32") << "no bound";
    EXPECT_EQ(bytes_at(two, 460, 4), "40300001");
    EXPECT_STREQ(two.parameters[1].help, "address");
    EXPECT_EQ(bytes_at(two, 562, 2), "0002");
}

TEST(Grammar, GivesModuleAndMessageTypeToTheNodesFromThereOn)
{
    const auto nodes = nodes_of("module laboratory\nroot\n  priority 3\n"
                                "module \"\"\nkeyword a\n  run f\n"
                                "module laboratory\nmessage-type 610\n"
                                "keyword b\n  module own\n  run f\n"
                                "keyword c\n  message-type 0\n  run f\n"
                                "keyword d\n  generator g\n  terminal\n"
                                "keyword e\n  terminal\n");
    const char *modules[] = {"laboratory", "", "own", "laboratory", "laboratory", "laboratory"};
    const unsigned types[] = {0, 0, 610, 0, 610, 0};
    for (size_t i = 0; i < nodes.size(); ++i) {
        EXPECT_STREQ(nodes[i].module_id, modules[i]) << i;
        EXPECT_EQ(unsigned{nodes[i].cmi_msg_type}, types[i]) << i;
    }
    EXPECT_EQ(bytes_at(nodes[0], 564, 2), "0003");
    EXPECT_EQ(bytes_at(nodes[2], 256, 24), "6f776e" + repeated("00", 21)) << "no rest of the other";
}

TEST(Grammar, ReadsLinesHoweverTheyAreWritten)
{
    const auto nodes = nodes_of("\xEF\xBB\xBF# comment with \0 and \xFF\r\n"
                                "\r\n"
                                "keyword\t\ta   \"say \\\"x\\\" and \\\\\"  \t\r\n"
                                "  \t \n"
                                "     # comment\n"
                                "  run \"a function\"\n"
                                "keyword \xC3\xBC \"gr\xC3\xBCn\"\n"
                                "  terminal"sv);
    ASSERT_EQ(nodes.size(), 3U);
    EXPECT_STREQ(nodes[1].help, "say \"x\" and \\");
    EXPECT_STREQ(nodes[1].func_id, "a function");
    EXPECT_STREQ(nodes[2].token, "\xC3\xBC");
}

struct mistake {
    std::string grammar;
    size_t line;
    const char *text;
};

void expect_reported(const mistake &each)
{
    const result compiled = compile(each.grammar);
    EXPECT_TRUE(compiled.nodes.empty()) << each.text;
    ASSERT_EQ(compiled.errors.size(), 1U) << each.text << '\n' << report(compiled);
    EXPECT_EQ(compiled.errors[0].line, each.line) << each.text;
    EXPECT_THAT(compiled.errors[0].text, HasSubstr(each.text));
}

// The file holds grammars, each with its report: lines that begin with "=> ".
TEST(Grammar, ReportsMistakes)
{
    std::ifstream file(TEST_DATA_DIR "/grammar/mistakes.txt");
    std::string grammar;
    std::string expected;
    size_t cases = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("=> "))
            expected += line.substr(3) + '\n';
        else if (!line.empty())
            grammar += line + '\n';
        else {
            EXPECT_EQ(report(compile(grammar)), expected) << grammar;
            grammar.clear();
            expected.clear();
            ++cases;
        }
    }
    EXPECT_GT(cases, 40U);
}

TEST(Grammar, ReportsBytesThatAreNoText)
{
    const mistake cases[] = {
        {"", 1, "expected a keyword or an argument, found none"},
        {"keyword a\n  \tterminal\n", 2, "found a tab"},
        {"keyword a \"tab\t\"\n", 1, "found a tab"},
        {"keyword a\0b\n"s, 1, "found the control character \"\\x00\""},
        {"keyword a\xC2\x9B\n", 1, "found the control character \"\\xc2\\x9b\""},
        {"keyword \xF4\x90\x80\x80\n", 1, "expected UTF-8 text, found the byte \"\\xf4\""},
        {"roles" + repeated(" 1", 256), 1, "expected at most 256 words"},
        {"keyword " + repeated("\xC3\xBC", 30), 1,
         "expected TOKEN of at most 31 bytes, found \"\xC3\xBC"},
    };
    for (const mistake &each : cases)
        expect_reported(each);
}

TEST(Grammar, KeepsTextsToTheirFields)
{
    const struct {
        const char *before;
        const char *after;
        size_t most;
        size_t offset;
    } cases[] = {
        {"keyword ", "\n  terminal\n", 31, 64},
        {"keyword k \"", "\"\n  terminal\n", 63, 96},
        {"keyword k\n  terminal\n  name ", "\n", 63, 0},
        {"keyword k\n  run ", "\n", 47, 208},
        {"keyword k\n  terminal\n  submode ", "\n", 15, 192},
        {"keyword k\n  terminal\n  submode p \"", "\"\n", 31, 160},
        {"keyword k\n  terminal\n  module ", "\n", 23, 256},
        {"keyword k\n  terminal\n  generator ", "\n", 47, 280},
        {"argument line \"", "\"\n  terminal\n", 63, 372},
        {"argument line\n  terminal\n  or mac \"", "\"\n", 63, 472},
    };
    for (const auto &each : cases) {
        const auto nodes = nodes_of(each.before + std::string(each.most, 'x') + each.after);
        EXPECT_EQ(bytes_at(nodes.at(1), each.offset + each.most - 1, 2), "7800") << each.before;
        const result refused = compile(each.before + std::string(each.most + 1, 'x') + each.after);
        const std::string text = "of at most " + std::to_string(each.most) + " bytes, found \"xxx";
        EXPECT_THAT(report(refused), HasSubstr(text)) << each.before;
    }
}

// So many keywords, on three levels.
std::string keywords(size_t count)
{
    std::string grammar;
    for (size_t i = 0; i < count; ++i) {
        const std::string indentation(i % 1600 == 0 ? 0 : i % 40 < 2 ? 2 : 4, ' ');
        grammar += indentation + "keyword k" + std::to_string(i) + '\n';
        grammar += indentation + "  terminal\n";
    }
    return grammar;
}

TEST(Grammar, KeepsTheLimitsOfATree)
{
    const auto with_link = [](size_t levels) {
        const std::string indentation(2 * levels, ' ');
        return chain(levels) + indentation + "name n\n" + indentation + "link n\n";
    };
    EXPECT_EQ(nodes_of(chain(30)).size(), 31U);
    EXPECT_EQ(nodes_of(with_link(29)).size(), 30U);
    EXPECT_EQ(nodes_of(keywords(65535)).size(), 65536U);
    const mistake cases[] = {
        {leaves(400), 385, "expected at most 192 children of a node, found one more"},
        {chain(31), 31, "expected at most 31 levels with the root, found one more"},
        {with_link(30), 33, "31 levels"},
        {keywords(65600) + "nonsense\n", 2 * 65535 + 1,
         "expected at most 65536 nodes with the root, found one more"},
    };
    for (const mistake &each : cases)
        expect_reported(each);
}

TEST(Grammar, ShowsTheFirstTwentyErrors)
{
    EXPECT_EQ(compile(repeated("x\n", 20)).errors.size(), 20U);
    const result more = compile("keyword a\n" + repeated("x\n", 100));
    ASSERT_EQ(more.errors.size(), 21U);
    EXPECT_EQ(more.errors[0].line, 1U) << "found last";
    EXPECT_EQ(more.errors[20].line, 21U);
    EXPECT_EQ(more.errors[20].text, "further errors are not shown");
}

std::string bytes_of(const tree &nodes)
{
    return {reinterpret_cast<const char *>(nodes.data()), nodes.size() * sizeof nodes[0]};
}

void expect_round_trip(const std::string &grammar)
{
    const tree nodes = nodes_of(grammar);
    const decompiled back = decompile(nodes);
    ASSERT_FALSE(back.fault) << back.fault->why << '\n' << grammar;
    EXPECT_TRUE(bytes_of(compile(back.text).nodes) == bytes_of(nodes)) << grammar << "became\n"
                                                                       << back.text;
}

// What is written is as a person would write it: these texts come back as they are.
TEST(Decompile, WritesReadableGrammar)
{
    const char *grammars[] = {
        "root\n  terminal\n",

        "module lab\n\n"
        "root\n  submode \"switch\"\n  priority 3\n\n"
        "keyword show \"Show \\\"it\\\" \\\\\"\n"
        "  name \"the show\"\n  module own\n  handler f\n  generator g\n  priority 1\n"
        "  roles network-operator svc-admin 7 9-11\n  interfaces 0x8000000000000001\n"
        "  token-id -2147483648\n  command-id 7\n  message-type 944\n"
        "  internal-function 65535\n  optional 1\n  action 0x80000010\n"
        "  argument int 0..3600 \"Seconds\"\n    or vsan 1..4093\n"
        "    name deep\n    run set\n    submode \"\" \"help\"\n    link end\n\n"
        "keyword end\n  name end\n  terminal\n  roles none\n  link \"the show\"\n"
        "link deep\n",

        "keyword a\n  terminal\n\n"
        "module m\n\n"
        "keyword b\n  terminal\n\n"
        "keyword c\n  keyword d\n    terminal\n  keyword e\n    module n\n    terminal\n\n"
        "module \"\"\n\n"
        "keyword f\n  terminal\n  roles 0-126\n",
    };
    for (const char *grammar : grammars)
        EXPECT_EQ(decompile(nodes_of(grammar)).text, grammar);
}

TEST(Decompile, BringsBackEveryTypeAndEveryText)
{
    std::istringstream types(
        "int,int -2147483648..2147483647,int -5..-1,int 0..0,int subtype 7,int-multi-range,hex,"
        "hex 10..0xff,hex-multi-range subtype 4294967295,vsan,vsan 0..0,vsan-range 5..10,string,"
        "string 0,string 2147483647,line,uri,uri 0,uri 0xffffffff,interface,interface 0,"
        "interface-range 0x8000000000000000,ipv4,mac,fc-id");
    const auto alternatives_of = [](const std::string &type) {
        return "argument " + type + "\n  or " + type + " \"32\"\n  terminal\n";
    };
    for (std::string type; std::getline(types, type, ',');)
        expect_round_trip(alternatives_of(type));
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
