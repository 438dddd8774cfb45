// The shell's parts by themselves.

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "argument_words.h"
#include "lab/kiv/argument_types.h"
#include "lab/kiv/configuration.h"
#include "lab/kiv/parser.h"
#include "small_tree.h"

namespace {

using namespace kiv_shell;
using namespace kiv_shell::testing;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class Parser : public ::testing::Test, protected small_tree {};

struct line_case {
    const char *line;
    const char *result; // or how it begins
};

TEST_F(Parser, UnderstandsCommandsOfExecMode)
{
    const line_case cases[] = {
        {"  sho\tver  ", "show version"},
        {"show v", "5: ambiguous word \"v\"; candidates: version, vsan"},
        {"show Version", "5: unknown word \"Version\"; expected: running-config, version, vsan"},
        {"show \"version\"", "5: unknown word"},
        {"show two", "5: unknown word"},
        {"show", "4: incomplete command; expected: running-config, version, vsan"},
        {"show version now", "13: too many words"},
        {"show version > f", "show version>f"},
        {"show version >\"a b\\\"\\\\\"", "show version>a b\"\\"},
        {"show version>f", "5: unknown word \"version>f\""},
        {"show version > a b", "17: too many words"},
        {"show version >", "14: incomplete command; expected: the name of a file"},
        {"show version >> f", "14: incomplete"},
        {"show version > \"\"", "15: the name of a file is empty"},
        {"show version > \"a", "15: quote without an end"},
        {"show \"ver\"x", "10: blank expected after the closing quote"},
        {"show ver\001", "8: control character"},
        {"show \xC2\x85", "5: control character"},
        {"show \xC3\xA9\xC3", "7: not a character of UTF-8"},
    };
    for (const line_case &row : cases)
        EXPECT_THAT(parsed(root_node, row.line), StartsWith(row.result)) << row.line;
}

TEST_F(Parser, GivesArgumentsACanonicalForm)
{
    const line_case cases[] = {
        {"name a", "name a"},
        {"name \"a\"", "name a"},
        {"name \"a b\"", "name \"a b\""},
        {"name \"\"", "name \"\""},
        {"name a\"b", "name \"a\\\"b\""},
        {"name a\\", "name \"a\\\\\""},
        {"name \"!a\"", "name \"!a\""},
        {"name 123456789", "5: value \"123456789\" is out of bounds; expected: <string of up to 8"},
        {"banner  two  words > \"x  ", "banner two  words > \"x"},
        {"banner > x", "7: incomplete command; expected: <line>"},
        {"speed aut", "6: ambiguous"},
        {"speed \"auto\"", "speed \"auto\""},
        {"speed \"a\"", "speed \"a\""},
        {"speed 7", "speed 7"},
        {"speed seventy", "6: value \"seventy\" is out of bounds; expected: <string of up to 5"},
        {"vsan 0", "5: value \"0\" is out of bounds; expected: <vsan 1..4093>"},
    };
    for (const line_case &row : cases) {
        const std::string first = parsed(config, row.line);
        EXPECT_THAT(first, StartsWith(row.result)) << row.line;
        if (first.find(": ") == std::string::npos) {
            EXPECT_EQ(parsed(config, first), first);
        }
    }
}

TEST_F(Parser, TakesLinesOfAnyLengthAndShowsLittleOfThem)
{
    const std::string word(1 << 20, 'x');
    EXPECT_EQ(parsed(config, "host " + word), "host " + word);
    EXPECT_LT(parsed(config, word).size(), 300U);
    const std::string begin(39, 'x');
    EXPECT_THAT(parsed(config, begin + "éé"), HasSubstr("\"" + begin + "...\"")) << "cut within";
}

void expect_fit(const kiv_parameter &parameter, const char *words, fit expected)
{
    std::istringstream all(words);
    for (std::string row; std::getline(all, row, '|');) {
        const size_t separator = row.find('=');
        const std::string word = row == "''" ? "" : row.substr(0, separator);
        EXPECT_EQ(check_argument(parameter, word), expected)
            << describe_parameter(parameter) << " and " << word;
        if (expected == fit::fits) {
            EXPECT_EQ(canonical_argument(parameter, word),
                      separator == std::string::npos ? word : row.substr(separator + 1));
        }
    }
}

TEST(ArgumentTypes, TakeTheWordsOfTheirFormWithinTheirBounds)
{
    for (const argument_words &row : all_argument_words) {
        kiv_parameter parameter{};
        parameter.type = static_cast<uint32_t>(row.type);
        parameter.minimum = row.minimum;
        parameter.maximum = row.maximum;
        expect_fit(parameter, row.fitting, fit::fits);
        expect_fit(parameter, row.out_of_bounds, fit::out_of_bounds);
        expect_fit(parameter, row.wrong, fit::wrong_form);
    }
}

TEST(ArgumentTypes, KnowNamedValuesAndMasks)
{
    kiv_parameter parameter{};
    parameter.type = TYPE_INT;
    parameter.subtype = 1;
    EXPECT_EQ(check_argument(parameter, "77"), fit::fits);
    parameter.type = TYPE_INTERFACE;
    parameter.type_mask = 0x2;
    EXPECT_EQ(check_argument(parameter, "mgmt0"), fit::fits);
    EXPECT_EQ(check_argument(parameter, "fc1/1"), fit::out_of_bounds);
    EXPECT_EQ(describe_parameter(parameter), "<interface mgmt>");
    parameter.type_mask = ~uint64_t{0};
    EXPECT_EQ(describe_parameter(parameter), "<interface>");
    parameter.type = TYPE_URI;
    parameter.minimum = 0x80020081U;
    EXPECT_EQ(describe_parameter(parameter), "<uri file|bootflash|dm-lib>");
    parameter.type = 0x40100040;
    EXPECT_EQ(check_argument(parameter, "1"), fit::wrong_form) << "unknown type";
}

class Configuration : public ::testing::Test, protected small_tree {
protected:
    setting of(node_index mode, const std::string &line) const
    {
        return setting_of(tree, std::get<command>(parse_command(tree, mode, line)));
    }

    // A setting of configuration mode, or of a virtual SAN.
    void put(const std::string &line) { running.put({}, of(config, line)); }
    void put(const std::string &outer, const std::string &line)
    {
        const setting block = of(config, outer);
        running.put({block}, of(*block.mode, line));
    }

    configuration running{tree, config};
};

TEST_F(Configuration, ReplacesInPlaceOrdersByPriorityAndMakesMissingBlocks)
{
    for (const char *line : {"name one", "vsan 20", "vsan 10", "host b", "host a", "speed 1",
                             "banner x", "vsan 020", "name two", "host b", "speed auto"})
        put(line);
    put("vsan 20", "name inner");
    put("vsan 30", "name new");
    put("vsan 20");
    EXPECT_EQ(running.text(), "speed auto\nbanner x\nvsan 20\n  name inner\nvsan 10\n"
                              "vsan 30\n  name new\nhost b\nhost a\nname two\n");
}

TEST_F(Configuration, RemovesWhatBeginsWithTheWords)
{
    for (const char *line : {"host a", "host b", "speed 4", "vsan 1", "vsan 10"})
        put(line);
    put("vsan 1", "name x");
    running.remove({}, {"host", "a"});
    running.remove({}, {"speed"});
    running.remove({}, {"vsan", "1"});
    running.remove({of(config, "vsan 3")}, {"name"});
    EXPECT_EQ(running.text(), "vsan 10\nhost b\n");
    put("host a");
    EXPECT_EQ(running.text(), "vsan 10\nhost b\nhost a\n");
}

TEST_F(Configuration, KeepsLinesThatTheTreeDoesNotKnow)
{
    const std::string text = "vsan 1\n  fabric x\n    deeper y\n  name z\nzone a\nhost b\n";
    ASSERT_EQ(running.load(text), failure());
    EXPECT_EQ(running.text(), text);
    put("banner x");
    EXPECT_EQ(running.text(), "banner x\n" + text);
}

TEST_F(Configuration, RefusesWhatIsNoConfiguration)
{
    const line_case cases[] = {
        {"host a\n   host b\n", "line 2: wrong indentation"},
        {"  host a\n", "line 1: wrong indentation"},
        {"vsan 1\n    name x\n", "line 2: wrong indentation"},
        {"host a\n\001\n", "line 2: control character"},
    };
    for (const line_case &row : cases) {
        configuration damaged(tree, config);
        EXPECT_EQ(damaged.load(row.line), failure(row.result));
    }
    std::string deep;
    for (size_t depth = 0; depth <= most_modes; ++depth)
        deep += std::string(2 * depth, ' ') + "x\n";
    EXPECT_EQ(running.load(deep), failure("line 33: wrong indentation"));
}

TEST_F(Configuration, IsTheSameFromWhatWasPutOneByOne)
{
    const std::string texts[] = {"host a",  "host b",   "name c", "speed auto",
                                 "speed 4", "banner e", "vsan 1", "vsan 2"};
    std::mt19937 random(7);
    const auto any = [&](size_t count) { return random() % count; };
    for (int round = 0; round < 50; ++round) {
        configuration whole(tree, config);
        std::string file;
        for (int i = 0; i < 30; ++i) {
            std::vector<setting> path;
            node_index mode = config;
            for (size_t depth = any(3); depth > 0; --depth) {
                path.push_back(of(mode, any(2) == 0 ? "vsan 1" : "vsan 2"));
                mode = *path.back().mode;
            }
            const parse_result parsed = parse_command(tree, mode, texts[any(std::size(texts))]);
            if (const auto *known = std::get_if<command>(&parsed))
                whole.put(path, setting_of(tree, *known));
            file += whole.take_added();
        }
        configuration again(tree, config);
        EXPECT_EQ(again.load(file), failure());
        ASSERT_EQ(again.text(), whole.text()) << file;
    }
}

} // namespace
