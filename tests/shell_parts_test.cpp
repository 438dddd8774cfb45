// The shell's parts by themselves.

#include <bit>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include "argument_words.h"
#include "lab/kiv/argument_types.h"
#include "lab/kiv/configuration.h"
#include "lab/kiv/files.h"
#include "lab/kiv/parser.h"
#include "small_tree.h"
#include "temporary_directory.h"

namespace {

using namespace kiv_shell;
using namespace kiv_shell::testing;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class Parser : public ::testing::Test, protected small_tree {};

TEST_F(Parser, UnderstandsLinesAndGivesArgumentsACanonicalForm)
{
    const struct {
        node_index mode;
        const char *line;
        const char *result; // or how it begins
    } cases[] = {
        {root_node, "  sho\tver  ", "show version"},
        {root_node, "show v", "5: ambiguous word \"v\"; candidates: version, vsan"},
        {root_node, "show Version",
         "5: unknown word \"Version\"; expected: running-config, version"},
        {root_node, "show \"version\"", "5: unknown word"},
        {root_node, "show", "4: incomplete command; expected: running-config, version, vsan"},
        {root_node, "show version now", "13: too many words"},
        {root_node, "show version >\"a b\\\"\\\\\"", "show version>a b\"\\"},
        {root_node, "show version>f", "5: unknown word \"version>f\""},
        {root_node, "show version >", "14: incomplete command; expected: the name of a file"},
        {root_node, "show version >> f", "14: incomplete"},
        {root_node, "show version > \"a", "15: quote without an end"},
        {root_node, "show \"ver\"x", "10: blank expected after the closing quote"},
        {root_node, "show ver\001", "8: control character"},
        {root_node, "show \xC2\x85", "5: control character"},
        {root_node, "show \xC3\xA9\xC3", "7: not a character of UTF-8"},
        {config, "name \"a\"", "name a"},
        {config, "name \"\"", "name \"\""},
        {config, "name a\"b", "name \"a\\\"b\""},
        {config, "name a\\", "name \"a\\\\\""},
        {config, "name \"!a\"", "name \"!a\""},
        {config, "name 123456789",
         "5: value \"123456789\" is out of bounds; expected: <string of up"},
        {config, "banner  two  words > \"x  ", "banner two  words > \"x"},
        {config, "banner > x", "7: incomplete command; expected: <line>"},
        {config, "speed aut", "6: ambiguous"},
        {config, "speed \"auto\"", "speed \"auto\""},
        {config, "speed seventy",
         "6: value \"seventy\" is out of bounds; expected: <string of up to 5"},
    };
    for (const auto &row : cases) {
        const std::string first = parsed(row.mode, row.line);
        EXPECT_THAT(first, StartsWith(row.result)) << row.line;
        if (row.mode == config && first.find(": ") == std::string::npos) {
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

// In a folder where others may make files too.
TEST(Output, DoesNotFollowALinkThatIsPutThereWhileItsCommandRuns)
{
    const kiv_tests::temporary_directory folder;
    for (const bool was_there : {false, true}) {
        const std::string name = folder.path("file");
        folder.write("victim", "kept");
        std::filesystem::remove(name);
        if (was_there)
            folder.write("file", "old");
        output shown{text_sink(STDOUT_FILENO)};
        ASSERT_EQ(shown.open(name), failure());
        shown.write("new");
        std::filesystem::remove(name);
        std::filesystem::create_symlink("victim", name);
        EXPECT_EQ(shown.finish(), failure());
        EXPECT_EQ(folder.read("victim"), "kept");
        EXPECT_EQ(folder.read("file"), "new");
    }
}

// Nobody else may read or write the new file than the old one: what a folder gives to new files,
// with a list that names a user, is not for it.
TEST(Output, HasTheAccessControlListOfTheOldFileAndNoOther)
{
    struct entry {
        uint16_t kind, rights;
        uint32_t user;
    };
    struct access_list {
        uint32_t version;
        entry entries[5];
    };
    constexpr uint32_t nobody = UINT32_MAX;
    constexpr access_list of_user{2,
                                  {{0x01, 6, nobody},
                                   {0x02, 6, 1000},
                                   {0x04, 0, nobody},
                                   {0x10, 6, nobody},
                                   {0x20, 0, nobody}}};
    const kiv_tests::temporary_directory folder;
    const auto give = [&](const std::string &path, const char *name) {
        return setxattr(path.c_str(), name, &of_user, sizeof of_user, 0);
    };
    for (const char *name : {"plain", "listed"}) {
        folder.write(name, "old");
        ASSERT_EQ(chmod(folder.path(name).c_str(), 0660), 0);
    }
    if (std::endian::native == std::endian::big ||
        give(folder.path(), "system.posix_acl_default") != 0 ||
        give(folder.path("listed"), "system.posix_acl_access") != 0)
        GTEST_SKIP() << "no such lists here";
    for (const char *name : {"plain", "listed"}) {
        output shown{text_sink(STDOUT_FILENO)};
        ASSERT_EQ(shown.open(folder.path(name)), failure());
        shown.write("new");
        EXPECT_EQ(shown.finish(), failure());
        EXPECT_EQ(folder.read(name), "new");
        access_list left{};
        const ssize_t size =
            getxattr(folder.path(name).c_str(), "system.posix_acl_access", &left, sizeof left);
        EXPECT_EQ(size, std::string(name) == "plain" ? -1 : ssize_t{sizeof left}) << name;
        struct stat status;
        ASSERT_EQ(stat(folder.path(name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0660U) << name;
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

TEST_F(Configuration, ReplacesInPlaceOrdersByPriorityAndRemovesWhatBeginsWithTheWords)
{
    for (const char *line : {"name one", "vsan 20", "vsan 10", "host b", "host a", "speed 1",
                             "banner x", "vsan 020", "name two", "host b", "speed auto"})
        put(line);
    put("vsan 20", "name inner");
    put("vsan 30", "name new");
    put("vsan 20");
    EXPECT_EQ(running.text(), "speed auto\nbanner x\nvsan 20\n  name inner\nvsan 10\n"
                              "vsan 30\n  name new\nhost b\nhost a\nname two\n");
    running.remove({}, {"host", "b"});
    running.remove({}, {"speed"});
    running.remove({}, {"vsan", "20"});
    running.remove({of(config, "vsan 3")}, {"name"});
    EXPECT_EQ(running.text(), "banner x\nvsan 10\nvsan 30\n  name new\nhost a\nname two\n");
}

TEST_F(Configuration, KeepsLinesThatTheTreeDoesNotKnowAndRefusesWhatIsNone)
{
    const std::string text = "vsan 1\n  fabric x\n    deeper y\n  name z\nzone a\nhost b\n";
    ASSERT_EQ(running.load(text), failure());
    put("banner x");
    EXPECT_EQ(running.text(), "banner x\n" + text);
    std::string deep;
    for (size_t depth = 0; depth <= most_modes; ++depth)
        deep += std::string(2 * depth, ' ') + "x\n";
    const struct {
        std::string text;
        const char *fault;
    } cases[] = {
        {"host a\n   host b\n", "line 2: wrong indentation"},
        {"  host a\n", "line 1: wrong indentation"},
        {"vsan 1\n    name x\n", "line 2: wrong indentation"},
        {"host a\n\001\n", "line 2: control character"},
        {deep, "line 33: wrong indentation"},
    };
    for (const auto &row : cases)
        EXPECT_EQ(configuration(tree, config).load(row.text), failure(row.fault));
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
