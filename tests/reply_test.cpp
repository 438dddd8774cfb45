// What a reply is and what a result record makes of it, to the millisecond and the byte.

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "interact/session.h"
#include "memory_shortage.h"
#include "simulated_shell.h"

namespace {

using namespace simulated;

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

    std::string exchange(const std::string &command)
    {
        shell_->start_watch();
        const std::unique_ptr<char, freed> text(kiv_interact_exec_single_cmd(command.c_str()));
        return text_of(text.get());
    }

    std::string exchange(const std::string &command, reply next)
    {
        shell_->will_reply(std::move(next));
        return exchange(command);
    }

    clock::duration elapsed() const { return shell_->elapsed(); }

    void expect_reply(const std::string &command, const reply_case &one)
    {
        std::string text = one.text;
        for (const burst &said : one.text.empty() ? one.bursts : reply{})
            text += said.text;
        EXPECT_EQ(exchange(command, one.bursts), text) << one.what;
        EXPECT_EQ(elapsed(), one.time) << one.what;
    }

    std::unique_ptr<shell> shell_;
};

// Strings of this size are compared, not shown.
void expect_same(const std::string &found, const std::string &expected)
{
    EXPECT_EQ(found.size(), expected.size());
    EXPECT_TRUE(found == expected);
}

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
        {"a", {{7min, "x"}}, 7min + 30ms},
        {"a", {{0ms, "x"}, {10ms, "y"}, {30ms, "z"}}, 70ms},
        {"a", {{0ms, success}, {10ms, "y"}}, 40ms},
        {"showy", {{0ms, "x"}}, 30ms},
        {"b\n\nc", {{0ms, "x"}}, 30ms},
    };
    for (const reply_case &one : cases)
        expect_reply(one.what, one);
    EXPECT_EQ(shell_->heard(), "a\na\na\nshowy\nb\n\nc\n");
    EXPECT_EQ(exchange("b", {{0ms, "first "}, {31ms, "late"}}), "first ");
    EXPECT_EQ(exchange("c", {{0ms, " new"}}), "late new") << "stays for the next command";
}

TEST_F(Reply, OfAShowCommandMayPause)
{
    const reply_case cases[] = {
        {"marker by itself", {{0ms, success}}, 60ms},
        {"marker first", {{0ms, success + "\nx"}}, 60ms},
        {"then late data", {{0ms, success}, {31ms, "x"}}, 61ms},
        {"marker last", {{0ms, "x\n"}, {10ms, success}}, 70ms},
        {"marker behind output", {{0ms, "x\n" + success}}, 55060ms},
        {"no marker", {{0ms, "x"}}, 55060ms},
        {"bursts", {{0ms, "x"}, {60ms, "y"}, {9s, success}}, 9060ms},
        {"last wait", {{0ms, "x"}, {55059ms, success}}, 55059ms},
        {"wait begins again", {{0ms, "x"}, {50s, "y"}, {50s, success}}, 100s},
        {"failure", {{0ms, "x"}, {60ms, error}}, 55090ms},
        {"split marker", {{0ms, "x"}, {60ms, "KIV_CALL"}, {1s, "BACK_SUCCESS"}}, 1060ms},
        {"split before the pause", {{0ms, "KIV_"}, {60ms, "CALLBACK_SUCCESS"}}, 60ms},
        {"split without pause", {{0ms, "KIV_CALL"}, {9ms, "BACK_SUCCESS"}}, 69ms},
        {"marker within", {{0ms, "x"}, {60ms, "y" + success}, {1s, success}}, 1060ms},
        {"echo",
         {{0ms, "x"}, {60ms, "show it\ny"}, {60ms, "z"}, {60ms, success}},
         180ms,
         "xz" + success},
        {"split echo",
         {{0ms, "x"}, {60ms, "sho"}, {60ms, "w it"}, {60ms, success}},
         180ms,
         "x" + success},
        {"no echo", {{0ms, "x"}, {60ms, "sho"}, {60ms, "w is"}, {60ms, success}}, 180ms},
        {"letter before the marker", {{0ms, "x"}, {60ms, "K"}, {60ms, success}}, 120ms},
        {"letter, split marker",
         {{0ms, "x"}, {60ms, "K"}, {60ms, "KIV_CALL"}, {60ms, "BACK_SUCCESS"}},
         180ms},
        {"letter, pause, marker", {{0ms, "K"}, {60ms, success}}, 60ms},
        {"word before the marker", {{0ms, "x"}, {60ms, "sho"}, {60ms, success}}, 120ms},
        {"letter before the echo",
         {{0ms, "x"}, {60ms, "s"}, {60ms, "show it"}, {60ms, success}},
         180ms,
         "xs" + success},
        {"echo before the pause", {{0ms, "show it\n"}, {60ms, success}}, 60ms},
    };
    for (const reply_case &one : cases)
        expect_reply("show it", one);
}

TEST_F(Reply, HoldsAnyNumberOfBytes)
{
    const std::string all = filled(5000) + success;
    reply bytes;
    for (const char byte : all)
        bytes.push_back({1ms, std::string(1, byte)});
    for (const auto &[end, quiet] : {std::pair(KIV_INTERACT_END_QUIET, clock::duration(30ms)),
                                     std::pair(KIV_INTERACT_END_MARKER, clock::duration(0ms))}) {
        kiv_interact_reply_end_set(end, 0);
        for (const size_t size : {49'999U, 50'000U, 50'001U, 100'000U, 1'000'000U}) {
            const std::string text = filled(size - success.size()) + success;
            expect_same(exchange("a", {{0ms, text}}), text);
            EXPECT_EQ(elapsed(), quiet);
            EXPECT_EQ(text.compare((size - 1) / 50'000 * 50'000, 25, retBuf,
                                   std::min<size_t>(25, size - (size - 1) / 50'000 * 50'000)),
                      0)
                << size;
        }
        expect_same(exchange("a", bytes), all);
        EXPECT_EQ(elapsed(), all.size() * 1ms + quiet);
        for (const char byte : buffer)
            ASSERT_EQ(byte, '\0');
    }
}

// The capacity is that of the pieces before the pause and one more.
TEST_F(Reply, OfAShowCommandIsCutAfterAPause)
{
    for (const size_t size : {49'999U, 50'000U, 50'001U}) {
        const std::string burst_text = filled(size);
        const size_t pieces = size > 50'000 ? 2 : 1;
        const reply bursts{{0ms, burst_text},
                           {60ms, burst_text},
                           {60ms, burst_text},
                           {60ms, burst_text},
                           {60ms, success}};
        std::string expected = burst_text + burst_text + burst_text + burst_text + success;
        expected.resize(std::min(expected.size(), (pieces + 1) * 50'003));
        expect_same(exchange("show it", bursts), expected);
        EXPECT_LT(elapsed(), 1s) << "the marker counts though it is cut off";
    }
}

TEST_F(Reply, LeavesNulBytesOut)
{
    using namespace std::string_literals;
    EXPECT_EQ(exchange("a", {{0ms, "\0a\0\0b\0"s}, {9ms, "\0"s}, {9ms, "c\0"s + success}}),
              "abc" + success);
    kiv_interact_reply_end_set(KIV_INTERACT_END_MARKER, 0);
    EXPECT_EQ(exchange("a", {{0ms, success + "\0"s}, {9ms, "\0"s + success}}), success + success);
}

TEST_F(Reply, IsNotWaitedForWhereNoneIsDue)
{
    EXPECT_EQ(exchange("\n"), "");
    EXPECT_EQ(shell_->heard(), "");
    EXPECT_EQ(elapsed(), 0ms);
    EXPECT_EQ(exchange(""), "");
    EXPECT_EQ(exchange("\n\n"), "");
    EXPECT_EQ(elapsed(), 30ms);
    EXPECT_EQ(shell_->heard(), "\n\n\n\n");
    kiv_interact_reply_end_set(KIV_INTERACT_END_MARKER, 0);
    EXPECT_EQ(exchange(""), "");
    EXPECT_EQ(elapsed(), 0ms);
}

TEST_F(Reply, EndsWithItsMarkerWhereMarkersEndReplies)
{
    const reply_case cases[] = {
        {"every marker", {{0ms, "x" + error}}, 0ms},
        {"shortest marker", {{0ms, parse_error}}, 0ms},
        {"pauses", {{0ms, "x"}, {1h, "y" + success}}, 1h},
        {"split", {{0ms, "xKIV_CALL"}, {1s, "BACK_SUCC"}, {1s, "ESS"}}, 2s},
        {"a line like it", {{0ms, success + "\n"}, {1s, success}}, 1s},
        {"in the middle", {{0ms, "a" + parse_error + "b"}, {1s, error}}, 1s},
    };
    kiv_interact_reply_end_set(KIV_INTERACT_END_MARKER, 0);
    for (const reply_case &one : cases)
        expect_reply("show it", one);
    // A full piece may end with a marker in the middle of what the shell has written.
    const std::string full = std::string(50'000 - success.size(), 'x') + success;
    for (const std::string &rest : {"\n" + success, std::string()})
        expect_same(exchange("a", {{0ms, full + rest}}), full + rest);
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

// The answers may have been given before the questions.
TEST_F(Reply, IsBoundedByTheDeadlineWhereNobodyTakesCommands)
{
    kiv_interact_reply_end_set(KIV_INTERACT_END_MARKER, 1500);
    shell_->stop_listening();
    const std::string command(4095, 'c');
    std::string text = success;
    testing::internal::CaptureStdout();
    for (int i = 0; i < 1000 && text == success; ++i) {
        shell_->will_say({{1ms, success}});
        text = exchange(command);
    }
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::HasSubstr("deadline expired"));
    EXPECT_EQ(text, nothing);
    EXPECT_EQ(elapsed(), 1500ms);
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
        {{{29ms, "welcome\n"}}, 29ms, "x"},
        {{{31ms, "late "}}, 30ms, "late x"},
        {{{1ms, filled(100'001)}}, 1ms, "x"},
        {{{1ms, filled(50'000)}}, 31ms, "x"},
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

    // One that says more and more.
    const int endless = open("/dev/zero", O_RDONLY | O_CLOEXEC);
    const int replies = std::exchange(kiv_to_kiv_agent_pipe[0], endless);
    kiv_interact_reply_end_set(KIV_INTERACT_END_QUIET, 0);
    kiv_interact_reply_end_set(KIV_INTERACT_END_MARKER, 0);
    kiv_to_kiv_agent_pipe[0] = replies;
    close(endless);
}

TEST_F(Reply, TimeOutCheckWaitsLongerAndLonger)
{
    EXPECT_EQ(read_time_out_check(kiv_to_kiv_agent_pipe[0], 0), 0);
    EXPECT_EQ(elapsed(), 30ms);
    shell_->start_watch();
    EXPECT_EQ(read_time_out_check(kiv_to_kiv_agent_pipe[0], 1), 0);
    EXPECT_EQ(elapsed(), 55030ms);
    EXPECT_EQ(read_time_out_check(-1, 1), -1);
    EXPECT_EQ(read_time_out_check(1 << 20, 0), -1);
    shell_->hang_up();
    EXPECT_EQ(read_time_out_check(kiv_to_kiv_agent_pipe[0], 0), 1)
        << "the end is something to read";
}

TEST_F(Reply, MakesTheRecordOfACommand)
{
    struct {
        const char *command;
        std::string text;
        std::string output;
        std::string output_by_marker;
        int32_t status;
        int32_t status_by_marker;
    } const cases[] = {
        {"a", success, "", "", 1, 1},
        {"a", "x\n" + success, "x\n", "x\n", 1, 1},
        {"a", "x" + success + "y" + success, "x", "x" + success + "y", 1, 1},
        {"a", success + "\n" + error, "", success + "\n", 1, 2},
        {"show it", success, nothing, nothing, 2, 2},
        {"show it", "x" + success, "x", "x", 1, 1},
        {"showy", success, "", "", 1, 1},
        {"a", error, nothing, nothing, 2, 2},
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
    const std::string all = start + "a\nb\nend\n\n";
    const std::string one_line = start + "a\nend\n\n";
    struct {
        const char *lines;
        std::vector<std::string> replies;
        int32_t status;
        std::string output;
        std::string failed;
        std::string sent;
    } const cases[] = {
        {"", {success, success}, 1, nothing, nothing, start + "end\n\n"},
        {"a\n\nb\n", {success, "x" + success, success, success}, 1, nothing, nothing, all},
        {"a\nb\nc", {success, success, "x\n" + parse_error, success}, 3, "x\n", "b", all},
        {"a", {success, "x" + error, success}, 2, "x", "a", one_line},
        {"a", {success, error, success}, 2, nothing, "a", one_line},
        {"a", {success, "x" + parse_error + error, success}, 3, "x", "a", one_line},
        {"a", {success, "x" + error + parse_error, success}, 3, "x", "a", one_line},
        {"a", {success, "unmarked", success}, 2, "unmarked", "a", one_line},
        {"a", {error}, 2, disabled, entered, start},
        {"a", {parse_error}, 3, disabled, entered, start},
        {"a", {"x" + parse_error}, 2, disabled, entered, start},
    };
    size_t heard = 0;
    for (const auto &one : cases) {
        for (const std::string &text : one.replies)
            shell_->will_reply({{0ms, text}});
        const owned_record record(kiv_interact_exec_conf_cmds(one.lines));
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->status, one.status) << one.output;
        EXPECT_EQ(text_of(record->output), one.output);
        EXPECT_EQ(text_of(record->failed_cmd), one.failed);
        EXPECT_EQ(shell_->heard().substr(heard), one.sent);
        heard = shell_->heard().size();
    }
}

TEST_F(Reply, TurnsXmlOnAndOff)
{
    shell_->will_reply({{0ms, success}});
    shell_->will_reply({{0ms, parse_error}});
    EXPECT_EQ(kiv_interact_xml_show_on(), 0);
    EXPECT_EQ(kiv_interact_xml_show_off(), 0) << "whatever the answer is";
    EXPECT_EQ(shell_->heard(), "xml-show on\n\nxml-show off\n\n");
}

TEST_F(Reply, NeedsACommandAndASession)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(kiv_interact_exec_single_cmd(nullptr), nullptr);
    EXPECT_EQ(kiv_interact_exec_conf_cmds(nullptr), nullptr);
    close(std::exchange(kiv_agent_to_kiv_pipe[1], -1));
    EXPECT_EQ(exchange("a"), nothing);
    EXPECT_EQ(kiv_interact_exec_scrpt_cmd("a"), nullptr);
    EXPECT_EQ(kiv_interact_xml_show_on(), -1);
    EXPECT_EQ(kiv_interact_session_close(), -1);
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::HasSubstr(": write failed\n"));
    kiv_interact_ret_info_free(nullptr);
    kiv_interact_buff_free(nullptr);
}

TEST_F(Reply, NeedsMemory)
{
    SKIP_UNLESS_MEMORY_CAN_BE_SHORT();
    testing::internal::CaptureStdout();
    {
        const kiv_tests::memory_shortage shortage;
        EXPECT_EQ(kiv_interact_exec_single_cmd("a"), nullptr);
        EXPECT_EQ(kiv_interact_exec_scrpt_cmd("a"), nullptr);
        EXPECT_EQ(kiv_interact_exec_conf_cmds("a"), nullptr);
    }
    EXPECT_THAT(
        testing::internal::GetCapturedStdout(),
        testing::MatchesRegex(".*single_cmd:[0-9]+: malloc failed\n.*scrpt_cmd:[0-9]+: memory "
                              "alloc failure\n\n.*conf_cmds:[0-9]+: memory alloc\n"));
    EXPECT_EQ(shell_->heard(), "");
}

} // namespace
