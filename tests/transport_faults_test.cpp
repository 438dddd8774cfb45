// Peers that are absent, slow, wrong, hostile or dying: every call has a result, in time, and
// nothing else is lost.

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <kiv/platform/cmi.h>
#include <kiv/platform/ovra.h>

#include "switch_root.h"
#include "transport_peer.h"

using namespace transport_peer;

namespace {

class Faults : public testing::Test {
protected:
    void SetUp() override
    {
        switch_root::require();
        queue_ = ovra_open(OVRA_ADDRESS_NONE, 0);
        ASSERT_GE(queue_, 0);
    }
    void TearDown() override { ovra_close(queue_); }

    uint32_t ask(const std::string &payload = {})
    {
        uint32_t token = 0;
        EXPECT_EQ(send(queue_, service_address, 7, payload, &token), 0);
        return token;
    }

    int queue_ = -1;
};

// The errno value of a request, 0 for an answer.
int cmi_error(const std::string &expected = "answer", int32_t timeout = 10)
{
    const std::string question = "question";
    void *response = nullptr;
    auto length = static_cast<uint32_t>(question.size());
    const int status = cmi_req_resp(7, CMI_MODE_CHANGE, question.data(), &response, &length, "", "",
                                    service_point, 37, timeout);
    const int error = status < 0 ? errno : 0;
    if (error == 0) {
        EXPECT_EQ(std::string(static_cast<char *>(response), length), expected);
    } else {
        EXPECT_EQ(response, nullptr);
        EXPECT_EQ(length, 0U);
    }
    std::free(response);
    return error;
}

// A service in its own process that does something with each connection, until it is killed.
process scripted(const std::function<void(const socket_end &connection)> &serve)
{
    return process([serve](process &parent) {
        const socket_end listener = open_listener();
        parent.tell();
        for (;;)
            serve(accept(listener));
        return 0;
    });
}

// What a service may send before the right answer or instead of it.
struct misdeed {
    const char *name;
    int error; // of who waits for the answer; 0: the answer comes all the same
    std::string (*record)(uint32_t token);
    int times = 1;
};

std::string with_texts(const char *texts, size_t size, uint16_t first, uint16_t second)
{
    frame header{.is_answer = 1};
    header.text_length[0] = first;
    header.text_length[1] = second;
    return record(header, std::string(texts, size));
}

const misdeed misdeeds[] = {
    {"another magic", EPROTO,
     [](uint32_t token) { return record({.magic = 1, .token = token, .is_answer = 1}); }},
    {"a third kind of message", EPROTO,
     [](uint32_t token) { return record({.token = token, .is_answer = 2}); }},
    {"an empty record", EPROTO, [](uint32_t) { return std::string(); }},
    {"a record that is too large", EPROTO,
     [](uint32_t token) { return answer(7, std::string(OVRA_MAX_PAYLOAD + 1, 'x'), token); }},
    {"a length that overflows", EPROTO,
     [](uint32_t token) {
         return record({.token = token, .length = UINT32_MAX, .is_answer = 1}, "x");
     }},
    {"a text without its NUL", EPROTO, [](uint32_t) { return with_texts("abc", 3, 2, 0); }},
    {"a text with a NUL inside", EPROTO, [](uint32_t) { return with_texts("a\0b\0", 4, 3, 0); }},
    {"a second text without its NUL", EPROTO,
     [](uint32_t) { return with_texts("a\0bc", 4, 1, 1); }},
    {"texts that are longer than the record", EPROTO,
     [](uint32_t) { return with_texts("a\0", 2, 1, 65'535); }},
    {"an answer with another token", 0,
     [](uint32_t token) { return answer(7, "other", token + 1); }},
    {"a message that is no answer", 0, [](uint32_t token) { return request(7, "other", token); }},
    {"many answers to one-way messages", 0,
     [](uint32_t) { return answer(7, std::string(1000, 'o'), 0); }, 60},
};

void commit(const misdeed &deed, const socket_end &connection)
{
    const uint32_t token = header_of(receive(connection)).token;
    for (int i = 0; i < deed.times; ++i)
        send(connection, deed.record(token));
    send(connection, answer(7, "answer", token));
}

} // namespace

TEST_F(Faults, NobodyIsThere)
{
    struct {
        const char *name;
        std::function<void()> prepare;
    } const cases[] = {
        {"no folder", [] { rmdir("/run/kiv"); }},
        {"an empty folder", [] { mkdir("/run/kiv", 0755); }},
        {"what a dead process left", [] { open_listener(); }},
        {"a file",
         [] {
             unlink(service_path);
             switch_root::write_file(service_path, "");
         }},
    };
    for (const auto &[name, prepare] : cases) {
        prepare();
        EXPECT_EQ(send(queue_, service_address, 7, "x"), EPIPE) << name;
        EXPECT_EQ(cmi_error(), EPIPE) << name;
    }
    EXPECT_EQ(receive(queue_).error, EPIPE);
    EXPECT_EQ(receive(queue_, 1).error, EPIPE);
}

TEST_F(Faults, AServiceThatMisbehavesIsFoundOutOrPassedOver)
{
    const socket_end listener = open_listener();
    for (const misdeed &deed : misdeeds) {
        const uint32_t token = ask();
        const socket_end connection = accept(listener);
        commit(deed, connection);
        const result answer = receive(queue_, token);
        EXPECT_EQ(answer.error, deed.error) << deed.name;
        EXPECT_EQ(answer.payload, deed.error == 0 ? "answer" : "") << deed.name;
        if (deed.error != 0) {
            EXPECT_TRUE(is_closed_by_peer(connection)) << deed.name << " was not cut off";
            EXPECT_EQ(receive(queue_, token).error, EPIPE) << deed.name;
        }
        ovra_close(queue_);
        queue_ = ovra_open(OVRA_ADDRESS_NONE, 0);
    }
}

TEST_F(Faults, AServiceThatMisbehavesWithARequest)
{
    const process service([](process &parent) {
        const socket_end listener = open_listener();
        parent.tell();
        for (const misdeed &deed : misdeeds) {
            const socket_end connection = accept(listener);
            commit(deed, connection);
            parent.await();
        }
        return 0;
    });
    ASSERT_TRUE(service.await());
    for (const misdeed &deed : misdeeds) {
        // A request after a failure, and a thread of its own, have a new connection.
        int error = -1;
        std::thread([&error] { error = cmi_error(); }).join();
        EXPECT_EQ(error, deed.error) << deed.name;
        service.tell();
    }
}

TEST_F(Faults, AnAnswerOfEveryOtherLengthIsNone)
{
    frame header{.opcode = 7, .length = 5, .text_length = {2, 1}, .is_answer = 1};
    const std::string body("t1\0t\0reply", 10);
    const socket_end listener = open_listener();
    for (size_t length = 0; length <= 32 + body.size() + 1; ++length) {
        header.token = ask();
        const socket_end connection = accept(listener);
        receive(connection);
        ASSERT_TRUE(send(connection, (record(header, body) + "!").substr(0, length)));
        const bool is_right = length == 32 + body.size();
        const result answer = receive(queue_, header.token);
        EXPECT_EQ(answer.error, is_right ? 0 : EPROTO) << length;
        EXPECT_EQ(answer.payload, is_right ? "reply" : "") << length;
        ovra_close(queue_);
        queue_ = ovra_open(OVRA_ADDRESS_NONE, 0);
    }
}

TEST_F(Faults, ABadClientIsCutOffAndTheOthersAreServed)
{
    const int server = ovra_open(service_address, 0666);
    ASSERT_GE(server, 0);
    const socket_end good = connect();
    const std::string bad[] = {"",
                               "x",
                               request(1, "cut").substr(0, 34),
                               request(1) + "!",
                               answer(1, "forged", 5),
                               record({.magic = 0})};
    uint32_t turn = 0;
    for (const std::string &record : bad) {
        const socket_end client = connect();
        ASSERT_TRUE(send(client, record));
        ASSERT_TRUE(send(good, request(++turn)));
        EXPECT_EQ(receive(server).opcode, turn) << "record " << turn;
        EXPECT_EQ(receive_now(server).error, EAGAIN) << "record " << turn;
        EXPECT_TRUE(is_closed_by_peer(client)) << "record " << turn;
    }
    ovra_close(server);
}

TEST_F(Faults, AServiceDies)
{
    const socket_end listener = open_listener();
    // Before its answer, with and without having read the request.
    for (const bool has_read : {false, true}) {
        const uint32_t token = ask();
        socket_end connection = accept(listener);
        if (has_read)
            receive(connection);
        connection.close();
        EXPECT_EQ(receive(queue_, token).error, EPIPE) << has_read;
    }
    // Without going away: it only says nothing more.
    const uint32_t unanswered = ask();
    const socket_end silent = accept(listener);
    receive(silent);
    shutdown(silent.get(), SHUT_WR);
    EXPECT_EQ(receive(queue_, unanswered).error, EPIPE);
    // After it, with something unread.
    const uint32_t token = ask();
    const uint32_t second = ask();
    socket_end connection = accept(listener);
    ASSERT_TRUE(send(connection, answer(7, "last words", token)));
    connection.close();
    EXPECT_EQ(receive(queue_, token).payload, "last words");
    EXPECT_EQ(receive(queue_, second).error, EPIPE);
    // Whoever waits for nobody in particular hears it once from each.
    EXPECT_EQ(send(queue_, service_address, 1, ""), 0);
    accept(listener).close();
    EXPECT_EQ(receive(queue_).error, EPIPE);
}

TEST_F(Faults, AnAnswerOfADeadServiceIsNotAwaitedFromItsSuccessor)
{
    const socket_end listener = open_listener();
    const uint32_t token = ask();
    accept(listener).close();
    EXPECT_EQ(receive(queue_, token).error, EPIPE);
    // As many connections as there are parts of tokens for them, so that one comes again.
    socket_end connection;
    for (uint32_t i = 0; i < OVRA_MAX_CONNECTIONS; ++i) {
        connection.close();
        receive_now(queue_);
        ASSERT_EQ(send(queue_, service_address, 1, ""), 0);
        connection = accept(listener);
        ASSERT_EQ(receive_now(queue_, token).error, EPIPE) << i;
    }
}

TEST_F(Faults, AServiceDiesWhileItIsAsked)
{
    process service = scripted([](const socket_end &connection) {
        receive(connection);
        _exit(0);
    });
    ASSERT_TRUE(service.await());
    EXPECT_EQ(cmi_error(), EPIPE);
    EXPECT_EQ(service.end(), 0);
}

TEST_F(Faults, WhatADeadServiceSaidIsKeptWhenItsSuccessorIsFound)
{
    socket_end listener = open_listener();
    const uint32_t first = ask();
    const uint32_t lost = ask();
    socket_end connection = accept(listener);
    ASSERT_TRUE(send(connection, answer(7, "before", first)));
    connection.close();

    listener = open_listener();
    const uint32_t second = ask("again");
    connection = accept(listener);
    EXPECT_EQ(receive(connection), request(7, "again", second)) << "delivered once";
    ASSERT_TRUE(send(connection, answer(7, "after", second)));
    EXPECT_EQ(receive(queue_, second).payload, "after");
    EXPECT_EQ(receive(queue_, first).payload, "before");
    EXPECT_EQ(receive(queue_, lost).error, EPIPE);
    EXPECT_EQ(receive_now(queue_).error, EAGAIN);
}

TEST_F(Faults, ARestartedServiceGetsEveryRequestOnce)
{
    for (int run = 0; run < 3; ++run) {
        process service(serve_echoes);
        ASSERT_TRUE(service.await());
        EXPECT_EQ(cmi_error("question"), 0);
        EXPECT_EQ(cmi_error("question"), 0);
        const uint32_t token = ask("queue");
        EXPECT_EQ(receive(queue_, token).payload, "queue");
        service.kill();
    }
    EXPECT_EQ(cmi_error(), EPIPE);
    EXPECT_EQ(send(queue_, service_address, 7, ""), EPIPE);
}

TEST_F(Faults, NothingIsWaitedForTooLong)
{
    const socket_end listener = open_listener(service_point, 0);
    const uint32_t token = ask(); // nobody accepts
    constexpr uint64_t deaf = OVRA_ADDRESS(OVRA_NODE_LOCAL, 501);
    const socket_end deaf_listener = open_listener(501);
    constexpr uint64_t crowded = OVRA_ADDRESS(OVRA_NODE_LOCAL, 502);
    const socket_end crowded_listener = open_listener(502, 0);
    const socket_end first_of_the_crowd = connect(502);
    const std::string large(OVRA_MAX_PAYLOAD, 'x');
    const struct {
        const char *name;
        std::function<int()> wait;
    } cases[] = {
        {"an answer", [&] { return receive(queue_, token, 1).error; }},
        {"any message", [&] { return receive(queue_, 0, 1).error; }},
        {"room for a message",
         [&] {
             int error = 0;
             while (error == 0)
                 error = send(queue_, deaf, 1, large, nullptr, 1);
             return error;
         }},
        {"a connection", [&] { return send(queue_, crowded, 1, "", nullptr, 1); }},
        {"the answer to a request", [&] { return cmi_error("", 1); }},
    };
    const alarms interrupt;
    for (const auto &tried : cases) {
        int error = 0;
        const double seconds = seconds_of([&] { error = tried.wait(); });
        EXPECT_EQ(error, ETIME) << tried.name;
        EXPECT_GE(seconds, 1) << tried.name;
        EXPECT_LT(seconds, 5) << tried.name;
    }
    EXPECT_GT(alarms::count(), 100);
    EXPECT_EQ(receive_now(queue_, token).error, EAGAIN);
}

TEST_F(Faults, SignalsDisturbNoExchange)
{
    process service(serve_echoes);
    ASSERT_TRUE(service.await());
    const std::string large(OVRA_MAX_PAYLOAD, 'x');
    const alarms interrupt;
    while (alarms::count() < 50) {
        const uint32_t token = ask(large);
        ASSERT_TRUE(receive(queue_, token).payload == large);
        ASSERT_EQ(cmi_error("question"), 0);
    }
}

TEST_F(Faults, AFloodEndsTheWaitInTime)
{
    // A service that sends all it can, reads nothing, and never the answer.
    process service = scripted([](const socket_end &connection) {
        const std::string noise = answer(7, std::string(100, 'n'), 0);
        while (send(connection, noise))
            ;
    });
    ASSERT_TRUE(service.await());
    EXPECT_LT(seconds_of([] { EXPECT_EQ(cmi_error("", 1), ETIME); }), 5);
}

TEST_F(Faults, AFullBacklogLosesNothing)
{
    const socket_end listener = open_listener();
    const uint32_t token = ask();
    const socket_end connection = accept(listener);
    for (uint32_t i = 1; i <= OVRA_MAX_BACKLOG + 1; ++i)
        ASSERT_TRUE(send(connection, answer(i, "", 0)));
    ASSERT_TRUE(send(connection, answer(100, "", token)));
    EXPECT_EQ(receive(queue_, token).error, ENOBUFS);
    EXPECT_EQ(receive(queue_, token).error, ENOBUFS);
    EXPECT_EQ(receive(queue_).opcode, 1U);
    EXPECT_EQ(receive(queue_, token).opcode, 100U) << "the answer needs no room";
    for (uint32_t i = 2; i <= OVRA_MAX_BACKLOG + 1; ++i)
        EXPECT_EQ(receive(queue_).opcode, i);
}

TEST_F(Faults, LateAnswersDoNotFillTheBacklog)
{
    const socket_end listener = open_listener();
    std::vector<uint32_t> given_up;
    for (uint32_t i = 0; i < OVRA_MAX_BACKLOG; ++i)
        given_up.push_back(ask());
    const socket_end connection = accept(listener);
    EXPECT_EQ(receive(queue_, given_up.back(), 1).error, ETIME);
    for (const uint32_t late : given_up)
        ASSERT_TRUE(send(connection, answer(1, "late", late)));
    const uint32_t token = ask();
    ASSERT_TRUE(send(connection, answer(2, "", 0)));
    ASSERT_TRUE(send(connection, answer(3, "", token)));
    EXPECT_EQ(receive(queue_, token).opcode, 3U) << "one late answer made room";
    EXPECT_EQ(receive_now(queue_, given_up.front()).payload, "late");
}

TEST_F(Faults, AnswersDoNotComeFromOthers)
{
    const socket_end listener = open_listener();
    const socket_end other_listener = open_listener(501);
    const uint32_t token = ask();
    ASSERT_EQ(send(queue_, OVRA_ADDRESS(OVRA_NODE_LOCAL, 501), 7, ""), 0);
    const socket_end other = accept(other_listener);
    ASSERT_TRUE(send(other, answer(7, "forged", token)));
    EXPECT_EQ(receive(queue_).error, EPROTO);
    EXPECT_TRUE(send(accept(listener), answer(7, "true", token)));
    EXPECT_EQ(receive(queue_).error, 0);
}

TEST_F(Faults, AClientThatReadsNoAnswersIsCutOff)
{
    const int server = ovra_open(service_address, 0666);
    ASSERT_GE(server, 0);
    const socket_end lazy = connect();
    const socket_end good = connect();
    const std::string large(OVRA_MAX_PAYLOAD, 'x');
    ovra_message message;
    int result = 0;
    int answers = 0;
    while (result == 0) {
        ASSERT_TRUE(send(lazy, request(1, "", 1), MSG_DONTWAIT));
        ASSERT_EQ(ovra_recv(server, &message, nullptr, nullptr), 0);
        result = ovra_answer(server, &message, 1, 0, large.data(), OVRA_MAX_PAYLOAD);
        answers += result == 0 ? 1 : 0;
        if (result == 0)
            ovra_drop(&message);
    }
    EXPECT_EQ(errno, EPIPE);
    EXPECT_GT(answers, 0);
    EXPECT_EQ(ovra_answer(server, &message, 1, 0, nullptr, 0), -1) << "it is cut off";
    EXPECT_EQ(errno, EPIPE);
    ovra_drop(&message);
    for (; answers > 0; --answers)
        EXPECT_EQ(receive(lazy).size(), 32 + large.size());
    EXPECT_TRUE(is_closed_by_peer(lazy));

    ASSERT_TRUE(send(good, request(2, "", 2)));
    ASSERT_EQ(ovra_recv(server, &message, nullptr, nullptr), 0);
    EXPECT_EQ(ovra_answer(server, &message, 2, 0, "fine", 4), 0);
    EXPECT_EQ(receive(good), answer(2, "fine", 2));
    EXPECT_EQ(ovra_close(server), 0);
    EXPECT_EQ(ovra_answer(server, &message, 2, 0, nullptr, 0), -1);
    EXPECT_EQ(errno, EBADF);
    ovra_drop(&message);
}
