// What compiled trees look like to people and programs.

#include <cstring>
#include <string_view>

#include <gmock/gmock.h>

#include "grammar/compile.h"
#include "tree/figures.h"
#include "tree/graph.h"
#include "tree/json.h"
#include "tree/nested.h"
#include "tree/outline.h"
#include "trees.h"

using kiv::grammar::tree_records;
using testing::HasSubstr;

namespace {

using trees::put;

// With a node of two owners, one that a link alone leads to, and bytes that are no text.
trees::tree odd_tree()
{
    trees::tree nodes = trees::of_nodes(5);
    put(nodes[1].token, "a\"\\&\x1B\xFF");
    put(nodes[1].help, "h\"&\n");
    put(nodes[2].token, "two words");
    put(nodes[3].token, "below");
    put(nodes[4].token, "apart");
    trees::add_child(nodes, 0, 1);
    trees::add_child(nodes, 0, 2);
    trees::add_child(nodes, 1, 3);
    trees::add_child(nodes, 2, 3);
    trees::add_link(nodes, 3, 4);
    return nodes;
}

trees::tree compiled(std::string_view grammar)
{
    return kiv::grammar::compile(grammar).nodes;
}

TEST(TreeViews, ShowATreeAsAPersonReadsIt)
{
    const auto nodes = compiled("root\n  submode \"sw\"\n"
                                "keyword show \"Show \xC3\xBC\"\n"
                                "  argument ip \"Address\"\n"
                                "    or int -1..5 \"Number\"\n"
                                "    run show_it\n    link leave\n"
                                "keyword \xC3\xBCmode\n"
                                "  terminal\n  submode \"m\" \"The mode\"\n"
                                "  keyword exit \"Leave it\"\n"
                                "    name leave\n    run \"do exit\"\n"
                                "  keyword x\n    handler h\n    argument vsan\n      run f\n");
    EXPECT_EQ(kiv::tree::outline(tree_records(nodes)),
              "(root)\n"
              "                    submode \"sw\"\n"
              "show                               Show \xC3\xBC\n"
              "  <ip|int -1..5>    run show_it    Address | Number\n"
              "    -> [leave]                     Leave it\n"
              "\xC3\xBCmode               terminal\n"
              "                    submode \"m\"    The mode\n"
              "  exit [leave]      run \"do exit\"  Leave it\n"
              "  x                 handler h\n"
              "    <vsan 1..4093>  run f\n");
}

TEST(TreeViews, ShowOnceWhatHasSeveralOwners)
{
    const auto nodes = odd_tree();
    EXPECT_EQ(kiv::tree::outline(tree_records(nodes)), "a\"\\&\\x1b\\xff           h\"&\\x0a\n"
                                                       "  below [#3]\n"
                                                       "    -> [#4]\n"
                                                       "\"two words\"\n"
                                                       "  below [#3] as above\n"
                                                       "\n"
                                                       "not below the root:\n"
                                                       "  apart [#4]\n");
    EXPECT_THAT(
        kiv::tree::nested_json(tree_records(nodes)),
        testing::EndsWith("\n"
                          "  {\"node\": 2, \"keyword\": \"two words\", \"roles\": \"none\", "
                          "\"children\": [\n"
                          "    {\"node\": 3, \"above\": true}]}]},\n"
                          "\"not_below_root\": [\n"
                          "  {\"node\": 4, \"keyword\": \"apart\", \"roles\": \"none\"}]}\n"));
}

TEST(TreeViews, NestObjectsWithEveryProperty)
{
    const auto nodes =
        compiled("module lab\n"
                 "keyword a \"h\"\n  name n\n  run f\n  submode \"p\" \"s\"\n  priority 3\n"
                 "  roles 5-6\n  token-id -1\n  interfaces 0xff\n  generator g\n"
                 "  argument int 1..2 \"i\"\n    or mac\n    terminal\n  link n\n");
    EXPECT_EQ(
        kiv::tree::nested_json(tree_records(nodes)),
        R"({"nodes": 3,
"root": {"node": 0, "children": [
  {"node": 1, "name": "n", "keyword": "a", "help": "h", "module": "lab", "function": "f", )"
        R"("terminal": true, "submode": {"prompt": "p", "help": "s"}, "generator": "g", "priority": 3, )"
        R"("roles": "5-6", "interfaces": "0xff", "token-id": -1, "children": [
    {"node": 2, "arguments": [{"type": "int", "bounds": "1..2", "help": "i"}, {"type": "mac"}], )"
        R"("module": "lab", "terminal": true},
    {"link": "n", "node": 1}]}]},
"not_below_root": []}
)");
}

TEST(TreeViews, WriteValidJsonWhateverTheBytesAre)
{
    const char *cases[][2] = {
        {"plain \xC3\xBC", "\"plain \xC3\xBC\""},
        {"\"\\/", "\"\\\"\\\\/\""},
        {"\x01\n\x1F\x7F\xC2\x9B", "\"\\u0001\\u000a\\u001f\\u007f\\u009b\""},
        {"\xFFx\xC3", "\"\\ufffdx\\ufffd\""},
        {"\xED\xA0\x80", "\"\\ufffd\\ufffd\\ufffd\""},
    };
    for (const auto &[text, json] : cases)
        EXPECT_EQ(kiv::tree::json_string(text), json);
}

TEST(TreeViews, DrawEveryNodeAndEdge)
{
    trees::tree nodes = odd_tree();
    nodes[4].action = KIV_ACTION_TERMINAL | KIV_ACTION_SUBMODE;
    EXPECT_EQ(kiv::tree::dot_graph(tree_records(nodes)),
              "digraph tree {\n"
              "  rankdir=LR;\n"
              "  node [shape=ellipse, fontname=\"sans-serif\"];\n"
              "  n0 [label=\"(root)\"];\n"
              "  n1 [label=\"a\\\"\\\\&amp;\\\\x1b\\\\xff\", tooltip=\"h\\\"&amp;\\\\x0a\"];\n"
              "  n2 [label=\"\\\"two words\\\"\"];\n"
              "  n3 [label=\"below\"];\n"
              "  n4 [label=\"apart\", shape=box, peripheries=2];\n"
              "  n0 -> n1;\n"
              "  n0 -> n2;\n"
              "  n1 -> n3;\n"
              "  n2 -> n3;\n"
              "  n3 -> n4 [style=dashed, constraint=false];\n"
              "}\n");
}

TEST(TreeViews, CountWhatIsInATree)
{
    trees::tree nodes = odd_tree();
    nodes[4].action = KIV_ACTION_TERMINAL;
    nodes.push_back({});
    const tree_records tree(nodes);
    const kiv::tree::figures figures = kiv::tree::measure(tree);
    EXPECT_EQ(figures_json(figures),
              "{\"nodes\": 6, \"commands\": 1, \"levels\": 3, \"most_children\": 2, "
              "\"widest_node\": 0, \"links\": 1, \"shared\": 1, \"unreachable\": 1, "
              "\"bytes\": 6000}\n");
    EXPECT_THAT(figures_text(figures, tree),
                HasSubstr("most children  2\nof node        0 (root)\nlinks          1\n"));
}

// Two ways from each node to the next: more ways down than can be walked.
TEST(TreeViews, StayShortHoweverManyWaysLeadDown)
{
    trees::tree nodes = trees::chain(KIV_TREE_MAX_DEPTH);
    for (uint16_t i = 0; i + 1 < KIV_TREE_MAX_DEPTH; ++i)
        trees::add_child(nodes, i, static_cast<uint16_t>(i + 1));
    const tree_records tree(nodes);
    EXPECT_LT(kiv::tree::outline(tree).size(), 10000U);
    EXPECT_LT(kiv::tree::nested_json(tree).size(), 10000U);
    EXPECT_LT(kiv::tree::dot_graph(tree).size(), 10000U);
    EXPECT_EQ(kiv::tree::measure(tree).levels, 31U);
}

// The records may be a file that is written to after it was checked.
TEST(TreeViews, StayWithinTheRecords)
{
    trees::tree nodes = odd_tree();
    std::memset(static_cast<void *>(&nodes[3]), 0xFF, sizeof nodes[3]);
    const tree_records tree(nodes);
    EXPECT_THAT(kiv::tree::outline(tree), HasSubstr("0xffffffff|0xffffffff"));
    EXPECT_FALSE(kiv::tree::nested_json(tree).empty());
    EXPECT_FALSE(kiv::tree::dot_graph(tree).empty());
    EXPECT_EQ(kiv::tree::measure(tree).most_children, 192U);
}

} // namespace
