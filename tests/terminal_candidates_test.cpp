// What can come next in a line.

#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include "lab/kiv/candidates.h"
#include "small_tree.h"

namespace {

using namespace kiv_shell;
using namespace kiv_shell::testing;
using ::testing::StartsWith;

class Candidates : public ::testing::Test, protected small_tree {
protected:
    // "text", the error, or what can come; and behind "+" what TAB adds.
    static std::string shown(const candidates &found)
    {
        if (found.is_text)
            return "text";
        if (found.error)
            return std::to_string(found.error->position) + ": " + found.error->text;
        std::string names;
        for (const candidate &row : found.list)
            names.append(names.empty() ? "" : " ").append(row.shown);
        const std::string added = completion(found);
        return added.empty() ? names : names + "+" + added;
    }

    struct row {
        const char *line;
        const char *expected; // or how it begins
    };

    void expect(node_index mode, std::initializer_list<row> rows) const
    {
        for (const row &each : rows)
            EXPECT_THAT(shown(find_candidates(tree, mode, each.line)), StartsWith(each.expected))
                << each.line;
    }
};

TEST_F(Candidates, AreWhatTheLineCanGoOnWith)
{
    expect(root_node, {
                          {"", "configure misplaced show"},
                          {"  s", "show+how "},
                          {"sh ", "running-config version vsan"},
                          {"sh v", "version vsan"},
                          {"conf ", "terminal+terminal "},
                          {"show version now", "13: too many words"},
                          {"show version ", "> <cr>"},
                          {"show version >", "<file>"},
                          {"show version >f ", "<cr>"},
                          {"show version > f g", "17: too many words"},
                          {"show version > > f ", "15: incomplete command"},
                      });
    expect(config, {
                       {"speed aut", "auto auto-sense <string of up to 5 bytes>+o"},
                       {"speed ", "auto auto-sense <int 1..32> <string of up to 5"},
                       {"speed 7", "<int 1..32> <string"},
                       {"vsan 5000", "5: value \"5000\" is out of bounds"},
                       {"name \"a b\"", "<string"},
                       {"name \"a ", "text"},
                       {"banner ", "<line>"},
                       {"banner a > ", "text"},
                       {"! sho", "text"},
                   });
}

TEST_F(Candidates, AreArgumentsThatTheWordMayBeOf)
{
    const struct {
        kiv_parameter_type type;
        uint32_t minimum, maximum;
        const char *may; // words with which one that fits can begin
        const char *may_not;
    } cases[] = {
        {TYPE_INT, 115, 117, "0 1 11 011", "2 12 119 1a - a"},
        {TYPE_INT, static_cast<uint32_t>(-20), static_cast<uint32_t>(-10), "- -1 -01", "1 0 -3 -9"},
        {TYPE_INT_RANGE, 10, 20, "1 12- 12-1", "3 13-12 20-1 12,"},
        {TYPE_VSAN_MULTI_RANGE, 10, 20, "12, 12,1 12-13,2", "1,12 12,3"},
        {TYPE_HEX, 0xab, 0xad, "0 0x 0xa a A ab", "0xb b -"},
    };
    const node_index mode = std::get<command>(parse_command(tree, config, "vsan 1")).node;
    kiv_parameter &parameter = nodes[mode].parameters[0];
    for (const auto &number : cases) {
        parameter.type = static_cast<uint32_t>(number.type);
        parameter.minimum = number.minimum;
        parameter.maximum = number.maximum;
        for (const auto &[words, is_possible] :
             {std::pair(number.may, true), {number.may_not, false}}) {
            std::istringstream each(words);
            for (std::string word; each >> word;)
                EXPECT_NE(find_candidates(tree, config, "vsan " + word).error.has_value(),
                          is_possible)
                    << word;
        }
    }
}

TEST_F(Candidates, LeadOutOfAModeWithDo)
{
    expect(config, {
                       {"d", "0: unknown word"},
                       {"do", "do+ "},
                       {"do ", "misplaced show"},
                       {"do sh v", "version vsan"},
                       {"do conf term > ", "3: a command that changes the mode"},
                       {"do configure terminal ", "3: a command that changes the mode"},
                       {"do do ", "3: unknown word"},
                       {"\"do\" ", "0: unknown word"},
                   });
    const node_index host =
        std::get<command>(parse_command(tree, config, "host a")).words.front().node;
    const auto call = [&](std::string_view token) {
        nodes[host].token[token.copy(nodes[host].token, sizeof nodes[host].token - 1)] = '\0';
    };
    call("domain");
    expect(config, {{"do c", "3: a command that"}, {"d", "domain+omain "}, {"do", "do domain"}});
    call("do");
    expect(config, {{"do c", "<string>"}, {"d", "do+o "}, {"do", "do+ "}});
}

TEST_F(Candidates, HaveTheirHelpInAColumn)
{
    const auto help = [](auto &field, std::string_view text) { text.copy(field, sizeof field); };
    help(nodes[1].help, "Show \x1b[31m");
    help(nodes[std::get<command>(parse_command(tree, config, "vsan 1")).node].parameters[0].help,
         "Number");
    EXPECT_EQ(help_text(find_candidates(tree, root_node, "")),
              "  configure\n  misplaced\n  show       Show \\x1b[31m\n");
    EXPECT_EQ(help_text(find_candidates(tree, config, "vsan ")), "  <vsan 1..4093>  Number\n");
}

} // namespace
