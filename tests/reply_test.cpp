// What a reply is and what a result record makes of it, to the millisecond and the byte.

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "interact/session.h"
#include "memory_shortage.h"
#include "simulated_shell.h"

namespace {

using namespace simulated;
using namespace std::string_literals;

const std::string success = KIV_INTERACT_SUCCESS_MARKER;
const std::string error = KIV_INTERACT_ERROR_MARKER;
const std::string parse_error = KIV_INTERACT_PARSE_MARKER;

struct freed {
    void operator()(char *text) const { kiv_interact_buff_free(text); }
    void operator()(kiv_interact_ret_info *record) const { kiv_interact_ret_info_free(record); }
};

using owned_record = std::unique_ptr<kiv_interact_ret_info, freed>;

// Null shows as this.
const std::string nothing = "(null)";

std::string text_of(const char *text)
{
    return text == nullptr ? nothing : text;
}

struct reply_case {
    const char *what;
    reply bursts;
    clock::duration time;
    std::string text = {}; // where it is not all that the shell says
};

class Reply : public testing::Test {
protected:
    void SetUp() override { restart(); }
    void TearDown() override
    {
        kiv_interact_reply_end_set(KIV_INTERACT_END_QUIET, 0);
        kiv::interact::current.begin();
    }

    void restart()
    {
        shell_.reset();
        shell_ = std::make_unique<shell>();
        present = shell_.get();
    }

    std::string exchange(const std::string &command, const reply &next = {})
    {
        if (!next.empty())
            shell_->will_reply(next);
        shell_->start_watch();
        const std::unique_ptr<char, freed> text(kiv_interact_exec_single_cmd(command.c_str()));
        return text_of(text.get());
    }

    clock::duration elapsed() const { return shell_->elapsed(); }

    void expect_replies(const std::string &command, std::span<const reply_case> cases)
    {
        for (const reply_case &one : cases) {
            std::string text = one.text;
            for (const burst &said : one.text.empty() ? one.bursts : reply{})
                text += said.text;
            EXPECT_EQ(exchange(command, one.bursts), text) << one.what;
            EXPECT_EQ(elapsed(), one.time) << one.what;
        }
    }

    std::unique_ptr<shell> shell_;
};

std::string filled(size_t size)
{
    std::string text;
    for (size_t i = 0; text.size() < size; ++i)
        text += std::to_string(i) + '\n';
    text.resize(size);
    return text;
}

TEST_F(Reply, EndsWhenNothingComesFor30Milliseconds)
{
    const reply_case cases[] = {
        {"late", {{7min, "x"}}, 7min + 30ms},
        {"bursts", {{0ms, "x"}, {10ms, "y"}, {30ms, "z"}}, 70ms},
        {"marker", {{0ms, success}, {10ms, "y"}}, 40ms},
        {"NUL bytes", {{0ms, "\0a\0\0b"s}, {9ms, "\0"s}, {9ms, "c\0"s}}, 48ms, "abc"},
    };
    expect_replies("showy", cases);
    EXPECT_EQ(exchange("b\n\nc", {{0ms, "first "}, {31ms, "late"}}), "first ");
    EXPECT_EQ(exchange("c", {{0ms, " new"}}), "late new") << "stays for the next command";
    EXPECT_EQ(shell_->heard(), "showy\nshowy\nshowy\nshowy\nb\n\nc\nc\n");
}

TEST_F(Reply, OfAShowCommandMayPause)
{
    const reply_case cases[] = {
        {"marker by itself", {{0ms, success}}, 60ms},
        {"marker behind output", {{0ms, "x\n" + success}}, 55060ms},
        {"last wait", {{0ms, "x"}, {55059ms, success}}, 55059ms},
        {"wait begins again", {{0ms, "x"}, {50s, "y"}, {50s, success}}, 100s},
        {"failure", {{0ms, "x"}, {60ms, error}}, 55090ms},
        {"split marker", {{0ms, "x"}, {60ms, "KIV_CALL"}, {1s, "BACK_SUCCESS"}}, 1060ms},
        {"split before the pause", {{0ms, "KIV_"}, {60ms, "CALLBACK_SUCCESS"}}, 60ms},
        {"marker within", {{0ms, "x"}, {60ms, "y" + success}, {1s, success}}, 1060ms},
        {"echo before the pause", {{0ms, "show it\n"}, {60ms, success}}, 60ms},
    };
    expect_replies("show it", cases);
    // Echoes of the command are left out, also where they come in parts; what only looks like the
    // beginning of one, or of a marker, is not.
    const struct {
        std::vector<std::string> pieces; // with pauses, before the marker
        std::string output;
    } echoes[] = {
        {{"x", "show it\ny", "z"}, "xz"},   {{"x", "sho", "w it"}, "x"},
        {{"x", "sho", "w is"}, "xshow is"}, {{"x", "sho"}, "xsho"},
        {{"x", "s", "show it"}, "xs"},      {{"x", "K"}, "xK"},
    };
    for (const auto &one : echoes) {
        reply bursts;
        for (const std::string &piece : one.pieces)
            bursts.push_back({60ms, piece});
        bursts.insert(bursts.end(), {{60ms, "KIV_CALL"}, {60ms, "BACK_SUCCESS"}});
        EXPECT_EQ(exchange("show it", bursts), one.output + success);
        EXPECT_EQ(elapsed(), bursts.size() * 60ms);
    }
}

TEST_F(Reply, HoldsAnyNumberOfBytes)
{
    reply bytes;
    for (const char byte : filled(1000) + success)
        bytes.push_back({1ms, std::string(1, byte)});
    for (const int32_t end : {KIV_INTERACT_END_QUIET, KIV_INTERACT_END_MARKER}) {
        kiv_interact_reply_end_set(end, 0);
        for (const size_t size : {49'999U, 50'000U, 50'001U, 1'000'000U}) {
            const std::string text = filled(size - success.size()) + success;
            EXPECT_TRUE(exchange("a", {{0ms, text}}) == text) << size;
            EXPECT_EQ(elapsed(), end == KIV_INTERACT_END_QUIET ? 30ms : 0ms);
            EXPECT_TRUE(text.substr((size - 1) / 50'000 * 50'000)
                            .starts_with(std::string(retBuf, strnlen(retBuf, sizeof retBuf))))
                << "the head of the last piece";
        }
        EXPECT_EQ(exchange("a", bytes), filled(1000) + success);
        EXPECT_EQ(std::count(std::begin(buffer), std::end(buffer), '\0'), sizeof buffer);
    }
}

// The capacity is that of the pieces before the pause and one more.
TEST_F(Reply, OfAShowCommandIsCutAfterAPause)
{
    for (const size_t size : {50'000U, 50'001U}) {
        const std::string text = filled(size);
        const size_t pieces = size > 50'000 ? 3 : 2;
        std::string expected = text + text;
        expected += expected;
        expected.resize(pieces * 50'003);
        reply bursts(4, {60ms, text});
        bursts.push_back({60ms, "KIV_"});
        EXPECT_TRUE(exchange("show it", bursts) == expected) << size;
        bursts.back().text = success;
        EXPECT_TRUE(exchange("show it", bursts) == expected) << size;
        EXPECT_LT(elapsed(), 1s) << "the marker counts though it is cut off";
    }
}

TEST_F(Reply, IsNotWaitedForWhereNoneIsDue)
{
    EXPECT_EQ(exchange("\n"), "");
    EXPECT_EQ(elapsed(), 0ms);
    EXPECT_EQ(exchange("\n\n"), "");
    EXPECT_EQ(elapsed(), 30ms);
    kiv_interact_reply_end_set(KIV_INTERACT_END_MARKER, 0);
    EXPECT_EQ(exchange(""), "");
    EXPECT_EQ(elapsed(), 0ms);
    EXPECT_EQ(shell_->heard(), "\n\n\n\n") << "nothing of the first";
}

TEST_F(Reply, EndsWithItsMarkerWhereMarkersEndReplies)
{
    // A full piece may end with a marker in the middle of what the shell has written.
    const std::string full = filled(50'000 - success.size()) + success;
    const reply_case cases[] = {
        {"every marker", {{0ms, "x" + error}}, 0ms},
        {"shortest marker", {{0ms, parse_error}}, 0ms},
        {"pauses", {{0ms, "x"}, {1h, "y" + success}}, 1h},
        {"split", {{0ms, "xKIV_CALL"}, {1s, "BACK_SUCC"}, {1s, "ESS"}}, 2s},
        {"in the middle", {{0ms, "a" + parse_error + "\n"}, {1s, error}}, 1s},
        {"at the end of a full piece", {{0ms, full}}, 0ms},
        {"NUL byte behind it",
         {{0ms, success + "\0"s}, {9ms, "\0"s + success}},
         9ms,
         success + success},
        {"with more behind it", {{0ms, full + "\n" + success}}, 0ms},
    };
    kiv_interact_reply_end_set(KIV_INTERACT_END_MARKER, 0);
    expect_replies("show it", cases);
}

TEST_F(Reply, OfSeveralLinesComesLineByLine)
{
    kiv_interact_reply_end_set(KIV_INTERACT_END_MARKER, 0);
    shell_->will_reply({{1s, "1" + success}});
    shell_->will_reply({{1s, "2" + error}});
    shell_->will_reply({{1s, "3" + success}});
    EXPECT_EQ(exchange("\na\n\nb\nc\n"), "1" + success + "2" + error + "3" + success);
    EXPECT_EQ(shell_->heard(), "\na\n\nb\nc\n\n") << "the same bytes as in one piece";
    shell_->will_reply({{0ms, "x" + error}});
    shell_->will_reply({{0ms, "y" + success}});
    const owned_record record(kiv_interact_exec_scrpt_cmd("a\nb"));
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->status, KIV_INTERACT_SUCCESS) << "the last one's";
    EXPECT_EQ(text_of(record->output), "x" + error + "y");
}

TEST_F(Reply, IsNotMistakenForThatOfAnotherCommandAfterTheDeadline)
{
    for (const int32_t end : {KIV_INTERACT_END_QUIET, KIV_INTERACT_END_MARKER}) {
        kiv_interact_reply_end_set(end, 1500);
        EXPECT_EQ(exchange("a", {{1450ms, "x" + success}}), "x" + success);
        testing::internal::CaptureStdout();
        EXPECT_EQ(exchange("show it", {{1450ms, "x"}, {60ms, success}}), nothing);
        EXPECT_EQ(elapsed(), 1500ms);
        EXPECT_EQ(exchange("b"), nothing);
        EXPECT_EQ(elapsed(), 0ms);
        EXPECT_THAT(testing::internal::GetCapturedStdout(),
                    testing::MatchesRegex(
                        "error: kiv_interact_exec:kiv_interact_exec_single_cmd:[0-9]+: deadline "
                        "expired, session unusable\nerror: .*: session unusable, out of step\n"));
        kiv_interact_reply_end_set(KIV_INTERACT_END_QUIET, 0);
        kiv::interact::current.begin();
        EXPECT_EQ(exchange("c", {{0ms, "x"}}), success + "x") << "what was late";
    }
}

// Something is there whenever the library looks.
TEST_F(Reply, IsBoundedByTheDeadlineHoweverMuchComes)
{
    for (const int32_t end : {KIV_INTERACT_END_QUIET, KIV_INTERACT_END_MARKER}) {
        for (const bool while_sending : {false, true}) {
            restart();
            if (while_sending)
                shell_->stop_listening();
            shell_->make_looking_slow(1ms);
            shell_->will_say(reply(5000, {1ms, "x"}));
            kiv_interact_reply_end_set(end, 1500);
            testing::internal::CaptureStdout();
            EXPECT_EQ(exchange(std::string(2 << 20, 'c')), nothing);
            // One look more where the system cannot write without waiting.
            EXPECT_THAT(elapsed(), testing::AnyOf(1500ms, 1501ms));
            EXPECT_THAT(testing::internal::GetCapturedStdout(),
                        testing::HasSubstr("deadline expired"));
        }
    }
}

TEST_F(Reply, IsNotMistakenForThatOfACommandThatWasCutOff)
{
    shell_->stop_listening();
    shell_->will_say({{10ms, "x"}, {10ms, ""}});
    testing::internal::CaptureStdout();
    EXPECT_EQ(exchange(std::string(2 << 20, 'c')), nothing);
    EXPECT_EQ(exchange("b"), nothing);
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                testing::ContainsRegex(": write failed\n.*: session unusable, out of step\n"));
}

TEST_F(Reply, HasNoGreetingInIt)
{
    struct {
        reply greeting;
        clock::duration time;
        std::string text; // of the first reply
    } const cases[] = {
        {{}, 30ms, "x"},
        {{{31ms, "late "}}, 30ms, "late x"},
        {{{1ms, filled(100'001)}}, 1ms, "x"},
        {reply(300, {1ms, filled(50'000)}), 100ms, nothing},
    };
    kiv_interact_reply_end_set(KIV_INTERACT_END_QUIET, 100);
    for (const auto &one : cases) {
        restart();
        shell_->will_say(one.greeting);
        EXPECT_EQ(kiv_interact_session_init_comm(), 0);
        EXPECT_EQ(elapsed(), one.time);
        EXPECT_EQ(shell_->heard(), "\n");
        EXPECT_EQ(exchange("a", {{1ms, "x"}}), one.text);
    }
}

TEST_F(Reply, TurnsToMarkersWithoutWhatCameBefore)
{
    EXPECT_EQ(exchange("a", {{0ms, "x"}, {31ms, "late" + success}}), "x");
    present->wait({}, 1ms);
    kiv_interact_reply_end_set(KIV_INTERACT_END_MARKER, 0);
    EXPECT_EQ(exchange("b", {{0ms, "y" + success}}), "y" + success);
}

TEST_F(Reply, TimeOutCheckWaitsLongerAndLonger)
{
    EXPECT_EQ(read_time_out_check(kiv_to_kiv_agent_pipe[0], 0), 0);
    EXPECT_EQ(elapsed(), 30ms);
    EXPECT_EQ(read_time_out_check(kiv_to_kiv_agent_pipe[0], 1), 0);
    EXPECT_EQ(elapsed(), 55060ms);
    EXPECT_EQ(read_time_out_check(1 << 20, 0), -1);
    shell_->hang_up();
    EXPECT_EQ(read_time_out_check(kiv_to_kiv_agent_pipe[0], 0), 1) << "the end can be read";
}

TEST_F(Reply, MakesTheRecordOfACommand)
{
    struct {
        const char *command;
        std::string text;
        std::string output, output_by_marker;
        int32_t status, status_by_marker;
    } const cases[] = {
        {"a", "x" + success + "y" + success, "x", "x" + success + "y", 1, 1},
        {"a", success + "\n" + error, "", success + "\n", 1, 2},
        {"show it", success, nothing, nothing, 2, 2},
        {"showy", success, "", "", 1, 1},
        {"a", "x\n" + error, "x\n", "x\n", 2, 2},
        {"a", "x\n" + parse_error, nothing, nothing, 2, 2},
    };
    for (const auto &one : cases) {
        for (const int32_t end : {KIV_INTERACT_END_QUIET, KIV_INTERACT_END_MARKER}) {
            const bool by_marker = end == KIV_INTERACT_END_MARKER;
            kiv_interact_reply_end_set(end, 0);
            shell_->will_reply({{0ms, one.text}});
            const owned_record record(kiv_interact_exec_scrpt_cmd(one.command));
            ASSERT_NE(record, nullptr);
            EXPECT_EQ(record->status, by_marker ? one.status_by_marker : one.status) << one.text;
            EXPECT_EQ(text_of(record->output), by_marker ? one.output_by_marker : one.output);
            EXPECT_EQ(record->failed_cmd, nullptr);
        }
    }
}

TEST_F(Reply, MakesTheRecordOfABatch)
{
    const std::string disabled = "Configuration mode is currently disabled";
    const std::string entered = "configure terminal";
    const std::string start = "conf t\n\n";
    const std::string one_line = start + "a\nend\n\n";
    struct {
        const char *lines;
        std::vector<std::string> replies;
        int32_t status;
        std::string output, failed, sent;
    } const cases[] = {
        {"", {success, success}, 1, nothing, nothing, start + "end\n\n"},
        {"a\n\nb\nc",
         {success, "x" + success, "x\n" + parse_error, success},
         3,
         "x\n",
         "b",
         start + "a\nb\nend\n\n"},
        {"a", {success, error, success}, 2, nothing, "a", one_line},
        {"a", {success, "unmarked", success}, 2, "unmarked", "a", one_line},
        {"a", {parse_error}, 3, disabled, entered, start},
        {"a", {"x" + parse_error}, 2, disabled, entered, start},
    };
    for (const auto &one : cases) {
        restart();
        for (const std::string &text : one.replies)
            shell_->will_reply({{0ms, text}});
        const owned_record record(kiv_interact_exec_conf_cmds(one.lines));
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->status, one.status) << one.output;
        EXPECT_EQ(text_of(record->output), one.output);
        EXPECT_EQ(text_of(record->failed_cmd), one.failed);
        EXPECT_EQ(shell_->heard(), one.sent);
    }
}

TEST_F(Reply, NeedsACommandAndASession)
{
    shell_->will_reply({{0ms, success}});
    shell_->will_reply({{0ms, parse_error}});
    EXPECT_EQ(kiv_interact_xml_show_on(), 0);
    EXPECT_EQ(kiv_interact_xml_show_off(), 0) << "whatever the answer is";
    EXPECT_EQ(shell_->heard(), "xml-show on\n\nxml-show off\n\n");
    testing::internal::CaptureStdout();
    EXPECT_EQ(kiv_interact_exec_single_cmd(nullptr), nullptr);
    EXPECT_EQ(kiv_interact_exec_conf_cmds(nullptr), nullptr);
    close(std::exchange(kiv_agent_to_kiv_pipe[1], -1));
    EXPECT_EQ(kiv_interact_exec_scrpt_cmd("a"), nullptr);
    EXPECT_EQ(kiv_interact_xml_show_on(), -1);
    EXPECT_EQ(kiv_interact_session_close(), -1);
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::HasSubstr(": write failed\n"));
}

TEST_F(Reply, NeedsMemory)
{
    SKIP_UNLESS_MEMORY_CAN_BE_SHORT();
    kiv_interact_reply_end_set(KIV_INTERACT_END_MARKER, 0);
    shell_->will_reply(reply(3, {1ms, filled(900'000)}));
    testing::internal::CaptureStdout();
    {
        const kiv_tests::memory_shortage shortage;
        EXPECT_EQ(kiv_interact_exec_single_cmd("a"), nullptr);
        EXPECT_EQ(kiv_interact_exec_scrpt_cmd("a"), nullptr);
        EXPECT_EQ(kiv_interact_exec_conf_cmds("a"), nullptr);
    }
    EXPECT_EQ(shell_->heard(), "");
    {
        const kiv_tests::memory_shortage shortage(1 << 20);
        EXPECT_EQ(kiv_interact_exec_single_cmd("a"), nullptr);
        EXPECT_EQ(kiv_interact_exec_single_cmd("b"), nullptr);
    }
    EXPECT_THAT(
        testing::internal::GetCapturedStdout(),
        testing::MatchesRegex(".*single_cmd:[0-9]+: malloc failed\n.*scrpt_cmd:[0-9]+: memory "
                              "alloc failure\n\n.*conf_cmds:[0-9]+: memory alloc\n.*: realloc "
                              "failed\n.*: session unusable, out of step\n"));
}

} // namespace
