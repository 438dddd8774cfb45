#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include <kiv/common.h>

#include "golden.h"
#include "grammar/compile.h"
#include "observed.h"
#include "trees.h"

namespace {

using kiv_tests::printed;
using trees::put;

void expect_golden(const char *name, const std::function<void()> &print)
{
    golden::expect(std::string(TEST_DATA_DIR "/dump/") + name, printed(print));
}

constexpr uint32_t all_types[] = {
#define CODE(name, code, bounds, label, value) code,
    KIV_PARAMETER_TYPE_TABLE(CODE)
#undef CODE
        0x40100020U,
    0x8000C000U,
    0x00F0F000U,
};

// Every field that is shown, in a node with a child, a link and a grandchild.
trees::tree tree_with_everything()
{
    trees::tree tree =
        kiv::grammar::compile(
            "keyword token \"100% help\"\n  name \"name of the node\"\n  run function\n"
            "  module module\n  submode \"prompt\" \"submode help\"\n  generator generator\n  "
            "optional 65535\n"
            "  message-type 2\n  action 0x80000000\n  token-id -7\n  command-id 2147483647\n"
            "  roles 0 7 126\n  internal-function 3\n  priority 4\n"
            "  interfaces 0x8000000000000000\n"
            "  argument int -5..65535 \"first\"\n    or hex\n    name below\n    roles none\n"
            "    keyword x\n      roles none\n      run f\n"
            "  link \"name of the node\"\n")
            .nodes;
    std::memset(tree.at(3).token, 'x', sizeof tree[3].token);
    return tree;
}

TEST(Dump, ShowsAnArrayTree)
{
    const trees::tree tree = tree_with_everything();
    expect_golden("array_tree.txt", [&] {
        display_array_tree(tree.data(), 0, 0);
        display_array_tree(tree.data(), 2, 5);
        display_array_tree(nullptr, 0, 99);
    });
}

TEST(Dump, ShowsEveryTypeOfParameter)
{
    expect_golden("parameters.txt", [] {
        kiv_parameter parameter{};
        parameter.type_mask = 0x8000000000000001U;
        parameter.minimum = static_cast<uint32_t>(-5);
        parameter.maximum = 0xFFFFU;
        const auto show = [&] {
            display_param(&parameter);
            std::puts("");
        };
        for (const uint32_t type : all_types) {
            parameter.type = type;
            show();
        }
        parameter.type = TYPE_INT;
        parameter.subtype = static_cast<uint32_t>(-9);
        put(parameter.help, "help");
        show();
    });
}

TEST(Dump, ShowsAPointerTree)
{
    char texts[][12] = {"node", "token", "help", "function", "module", ""};
    kiv_ptr_tree_node leaf = trees::ptr_node(texts[1]);
    kiv_ptr_tree_child second{nullptr, &leaf};
    kiv_ptr_tree_child nothing{&second, nullptr};
    kiv_ptr_tree_child first{&nothing, &leaf};
    kiv_ptr_tree_name other{"other name", nullptr};
    kiv_ptr_tree_name one{"one name", &other};
    kiv_ptr_tree_node root{.node_name = texts[0],
                           .token = texts[5],
                           .help = texts[2],
                           .func_id = texts[3],
                           .module_id = texts[4],
                           .array_index = -12,
                           .names = &one,
                           .children = &first};
    expect_golden("pointer_tree.txt", [&] {
        EXPECT_EQ(display_ptr_tree(&root, 1), 0);
        EXPECT_EQ(display_ptr_tree(nullptr, 30), 1);
        second.node = &root;
        displayChildren(&root);
        displayChildren(&leaf);
    });
}

TEST(Dump, ShowsPathsAndTables)
{
    kiv_subtree_path path;
    populate_subtree_path(&path, 7, "/ubex/etc/par");
    kiv_tree_table_entry entries[2];
    set_tree_table_entry(&entries[0], "module", "tree.par");
    set_tree_table_entry(&entries[1], nullptr, nullptr);
    expect_golden("paths_and_tables.txt", [&] {
        displayPath(&path);
        populate_subtree_path(&path, 0, nullptr);
        displayPath(&path);
        show_tree_table(entries, 2);
        show_tree_table(nullptr, 0);
        show_tree_table_entry(nullptr);
        show_tree_table_entry(&entries[0]);
    });
}

TEST(Dump, PrintsLabelledValuesBehindWhatTheCallerPrinted)
{
    const std::string text = printed([] {
        std::printf("before ");
        print_str("s", "text");
        print_str("s", "");
        print_str("s", nullptr);
        print_int("i", -1);
        print_int("i", 0);
        std::printf("between ");
        print_u_l_long("l", INT64_MIN);
        print_u_l_long("l", 0);
        print_hex_value("h", "\x01\x02\xFF", 3);
        print_hex_value("h", nullptr, 0);
    });
    EXPECT_EQ(text, "before s:text i:-1 between l:-9223372036854775808 h:0xff0201 h:0x ");
}

TEST(Dump, LosesNothingOfWhatIsLargerThanItsPieces)
{
    std::string token(200'000, 't');
    kiv_ptr_tree_node node = trees::ptr_node(token.data());
    EXPECT_EQ(printed([&] { display_ptr_tree(&node, 0); }), "Token:" + token + " \n");
}

// What was printed by then stays, and comes first.
void dump_to_file(const std::string &path, const std::function<void()> &print)
{
    if (std::freopen(path.c_str(), "w", stdout) == nullptr)
        std::_Exit(99);
    std::printf("before\n");
    print();
}

TEST(Dump, EndsTheProcessWhereATreeIsTooDeep)
{
    const std::string path = testing::TempDir() + "dump." + std::to_string(getpid());
    const std::string message = "Error: Cycle in parse tree or exceeded maximum depth\n";
    trees::tree cycle = trees::chain(2);
    trees::add_child(cycle, 1, 0);
    const auto ends = testing::ExitedWithCode(255);

    EXPECT_EXIT(dump_to_file(path, [&] { display_array_tree(cycle.data(), 0, 0); }), ends, "");
    std::string text = golden::content_of(path);
    EXPECT_TRUE(text.starts_with("before\n<NODE> ")) << text.substr(0, 80);
    EXPECT_TRUE(text.ends_with("\n" + message)) << text;
    EXPECT_EQ(std::ranges::count(text, '\n'), 1 + KIV_TREE_MAX_DEPTH + 1);

    EXPECT_EXIT(dump_to_file(path, [&] { display_ptr_tree(nullptr, 31); }), ends, "");
    EXPECT_EQ(golden::content_of(path), "before\n" + message) << "the depth counts before the null";
    unlink(path.c_str());
}

} // namespace
