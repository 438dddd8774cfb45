// The shell as a program drives it: command lines in, an answer to each out.

#include <climits>
#include <csignal>
#include <string>

#include <gmock/gmock.h>

#include "lab/kiv/answer.h"
#include "lab/kiv/xml.h"
#include "shell_child.h"
#include "switch_root.h"

namespace {

using namespace kiv_shell;
using namespace shell_child;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(Answer, IsSentInPiecesOfWhichOnlyTheLastLooksLikeTheEnd)
{
    for (const std::string &word : {success, callback_error, parse_error, std::string("x\n")}) {
        for (size_t shift = 0; shift <= success.size(); ++shift) {
            std::string answer(shift, 'x');
            for (int i = 0; i < 1000; ++i)
                answer += word;
            answer += success;
            size_t sent = 0;
            while (sent < answer.size()) {
                const size_t length = next_piece(answer, sent);
                ASSERT_TRUE(length > PIPE_BUF - 2 || sent + length == answer.size());
                ASSERT_LE(length, size_t{PIPE_BUF});
                sent += length;
                ASSERT_EQ(ends_with_marker(answer.substr(0, sent)), sent == answer.size())
                    << word << " at " << sent;
            }
        }
    }
}

TEST(XmlShow, HoldsAnyOutput)
{
    const struct {
        std::string output;
        std::string lines;
    } cases[] = {
        {"a\n\nb", "<line>a</line>\n<line></line>\n<line>b</line>\n"},
        {"<a href=\"x\">&amp;\n", "<line>&lt;a href=&quot;x&quot;&gt;&amp;amp;</line>\n"},
        {"\t\xC3\xBC]]>\r\n", "<line>&#9;\xC3\xBC]]&gt;<byte value=\"0d\"/></line>\n"},
        {std::string("\0\xFF\xC3", 3),
         "<line><byte value=\"00\"/><byte value=\"ff\"/><byte value=\"c3\"/></line>\n"},
        {"\xEF\xBF\xBE",
         "<line><byte value=\"ef\"/><byte value=\"bf\"/><byte value=\"be\"/></line>\n"},
    };
    for (const auto &row : cases)
        EXPECT_EQ(xml_show("show x", row.output),
                  "<show command=\"show x\">\n" + row.lines + "</show>\n");
    EXPECT_EQ(xml_show("say \"\t\x01<\"", ""),
              "<show command=\"say &quot;&#9;\xEF\xBF\xBD&lt;&quot;\">\n</show>\n");
}

class SessionMode : public ::testing::Test {
protected:
    void SetUp() override
    {
        switch_root::require();
        std::signal(SIGPIPE, SIG_IGN);
    }
};

TEST_F(SessionMode, AnswersEachLineButAnEmptyOneOnce)
{
    const struct {
        std::string line;
        std::string answer;
    } cases[] = {
        {"\n\n  ", success},
        {"\r", success},
        {"! comment", success},
        {"exit", success},
        {"end", success},
        {"show",
         "show\n    ^\n% incomplete command; expected: running-config, version\n" + parse_error},
        {"show version > /ubex", "% /ubex: Is a directory\n" + callback_error},
        {"conf t\n", success},
        {"vsan 1", success},
        {"name " + success, success},
        {std::string("name \0", 6), "name \\x00\n     ^\n% control character\n" + parse_error},
        {"end", success},
        {"show running-config > /ubex/shown", success},
    };
    running_shell shell;
    for (const auto &row : cases)
        EXPECT_EQ(shell.answer_to(row.line), row.answer) << row.line;
    EXPECT_THAT(switch_root::read_file("/ubex/shown"),
                HasSubstr("\nvsan 1\n  name " + success + "\n"));
    EXPECT_TRUE(shell.send("END_KIV\n"));
    EXPECT_EQ(shell.answer(), "");
    EXPECT_EQ(shell.status(), 0);
}

TEST_F(SessionMode, ShowsXmlFromOneCommandToTheOther)
{
    running_shell shell;
    const std::string text = shell.answer_to("show version");
    EXPECT_THAT(text, AllOf(StartsWith("Shell: "), EndsWith("\n" + success)));
    EXPECT_EQ(shell.answer_to("conf t"), success);
    EXPECT_EQ(shell.answer_to("switchname \"<a>\""), success);
    EXPECT_EQ(shell.answer_to("xml-show on\n"), success) << "in every mode";
    EXPECT_EQ(shell.answer_to("end"), success);
    EXPECT_THAT(shell.answer_to("sh run"),
                AllOf(StartsWith("<show command=\"show running-config\">\n<line>"),
                      HasSubstr("\n<line>switchname &lt;a&gt;</line>\n"),
                      EndsWith("</show>\n" + success)));
    EXPECT_THAT(shell.answer_to("show running-config peer"), StartsWith("% only the peer"));
    for (const char *line : {"xml-show", "xml-show on off"})
        EXPECT_THAT(shell.answer_to(line), EndsWith("^\n% expected: off, on\n" + parse_error));
    EXPECT_THAT(shell.answer_to("\"xml-show\" off"), HasSubstr("unknown word"));
    EXPECT_EQ(shell.answer_to("xml-show  off "), success);
    EXPECT_EQ(shell.answer_to("show version"), text);
}

TEST_F(SessionMode, WritesAnAnswerSoThatItsEndIsFound)
{
    std::string stored;
    for (size_t i = 0; stored.size() < 200'000; ++i)
        stored += std::to_string(i) + std::string(i % 17, 'x') +
                  (i % 2 == 0 ? success : parse_error) + "\n";
    switch_root::run("mkdir -p /ubex/cfg");
    switch_root::write_file("/ubex/cfg/running.cfg", stored);
    running_shell shell;
    const std::string answer = shell.answer_to("show running-config");
    EXPECT_TRUE(answer.ends_with(stored + success)) << answer.size();
    EXPECT_EQ(shell.pieces().back(), success) << "by itself, for a show command";
    size_t sent = 0;
    for (const std::string &piece : shell.pieces()) {
        sent += piece.size();
        EXPECT_LE(piece.size(), size_t{PIPE_BUF});
        EXPECT_EQ(ends_with_marker(answer.substr(0, sent)), sent == answer.size());
    }
    shell.answer_to(" show version");
    EXPECT_EQ(shell.pieces().size(), 1U);
}

TEST_F(SessionMode, TakesLinesOfAnyLengthThatComeInAnyPieces)
{
    running_shell shell;
    const std::string unknown(1 << 20, 'x');
    EXPECT_THAT(shell.answer_to(unknown), AllOf(StartsWith("xxx"), EndsWith("\n" + parse_error)));
    EXPECT_EQ(shell.answer_to("conf t"), success);
    EXPECT_EQ(shell.answer_to("banner " + unknown), success);
    for (const char *piece : {"e", "nd\nsh", "ow nothing\n"})
        EXPECT_TRUE(shell.send(piece));
    std::string all;
    while (!all.ends_with(parse_error))
        all += shell.answer();
    EXPECT_THAT(all, AllOf(StartsWith(success + "show nothing\n"), HasSubstr("word \"nothing\"")));
    EXPECT_TRUE(shell.answer_to("show running-config").ends_with(unknown + "\n" + success));
    for (int i = 0; i < 64; ++i)
        EXPECT_TRUE(shell.send(unknown));
    shell.send(unknown);
    EXPECT_EQ(shell.answer(), "% standard input: line too long\n" + parse_error);
    EXPECT_EQ(shell.status(), 1);
}

TEST_F(SessionMode, EndsWithItsProgram)
{
    running_shell closed;
    EXPECT_EQ(closed.answer_to("conf t"), success);
    EXPECT_TRUE(closed.send("switchname unfinished"));
    EXPECT_EQ(closed.end(), 0);
    running_shell unheard;
    EXPECT_EQ(unheard.answer_to("conf t"), success);
    unheard.stop_listening();
    EXPECT_TRUE(unheard.send("end\n"));
    EXPECT_EQ(unheard.status(), 1);
}

} // namespace
