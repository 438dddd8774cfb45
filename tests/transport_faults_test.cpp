// Peers that are absent, slow, wrong, hostile or dying: every call has a result, in time, and
// nothing else is lost.

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

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

// What a service may send before the right answer or instead of it.
struct misdeed {
    const char *name;
    std::string (*record)(uint32_t token);
    int error; // of who waits for the answer; 0: the answer comes all the same
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
    {"another magic",
     [](uint32_t token) { return record({.magic = 1, .token = token, .is_answer = 1}); }, EPROTO},
    {"a third kind of message",
     [](uint32_t token) { return record({.token = token, .is_answer = 2}); }, EPROTO},
    {"an empty record", [](uint32_t) { return std::string(); }, EPROTO},
    {"a record that is too large",
     [](uint32_t token) { return answer(7, std::string(OVRA_MAX_PAYLOAD + 1, 'x'), token); },
     EPROTO},
    {"a length that overflows",
     [](uint32_t token) {
         return record({.token = token, .length = UINT32_MAX, .is_answer = 1}, "x");
     },
     EPROTO},
    {"a text without its NUL", [](uint32_t) { return with_texts("abc", 3, 2, 0); }, EPROTO},
    {"a text with a NUL inside", [](uint32_t) { return with_texts("a\0b\0", 4, 3, 0); }, EPROTO},
    {"a second text without its NUL", [](uint32_t) { return with_texts("a\0bc", 4, 1, 1); },
     EPROTO},
    {"texts that are longer than the record",
     [](uint32_t) { return with_texts("a\0", 2, 1, 65'535); }, EPROTO},
    {"an answer with another token", [](uint32_t token) { return answer(7, "other", token + 1); },
     0},
    {"a message that is no answer", [](uint32_t token) { return request(7, "other", token); }, 0},
    {"many answers to one-way messages",
     [](uint32_t) { return answer(7, std::string(1000, 'o'), 0); }, 0, 60},
};

class Faults : public opened {
protected:
    uint32_t ask(const std::string &payload = {})
    {
        uint32_t token = 0;
        EXPECT_EQ(send(queue_, service_address, 7, payload, &token), 0);
        return token;
    }

    // What comes of a request, by cmi and by a queue, to which a service says this.
    void expect_of_answer(int error, const std::string &payload, const std::string &name,
                          const std::function<void(const socket_end &, uint32_t token)> &say)
    {
        const socket_end listener = open_listener();
        socket_end connection;
        const auto serve = [&] {
            connection = accept(listener);
            say(connection, header_of(receive(connection)).token);
        };
        // A thread has connections of its own.
        std::thread asking([&] { EXPECT_EQ(cmi_error(payload), error) << name << " by cmi"; });
        serve();
        asking.join();
        const uint32_t token = ask();
        serve();
        const result answer = receive(queue_, token);
        EXPECT_EQ(answer.error, error) << name;
        EXPECT_EQ(answer.payload, error == 0 ? payload : "") << name;
        if (error == EPROTO) {
            EXPECT_EQ(receive(connection), "") << name << " was not cut off";
            EXPECT_EQ(receive(queue_, token).error, EPIPE) << name;
        }
        TearDown();
        SetUp();
    }
};

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
    for (const misdeed &deed : misdeeds) {
        expect_of_answer(deed.error, "answer", deed.name,
                         [&](const socket_end &connection, uint32_t token) {
                             for (int i = 0; i < deed.times; ++i)
                                 send(connection, deed.record(token));
                             send(connection, answer(7, "answer", token));
                         });
    }
}

TEST_F(Faults, AnAnswerOfEveryOtherLengthIsNone)
{
    const std::string body("t1\0t\0reply", 10);
    const size_t right = sizeof(frame) + body.size();
    for (size_t length = 0; length <= right + 1; ++length) {
        expect_of_answer(length == right ? 0 : EPROTO, "reply", std::to_string(length),
                         [&](const socket_end &connection, uint32_t token) {
                             const frame header{.opcode = 7,
                                                .token = token,
                                                .length = 5,
                                                .text_length = {2, 1},
                                                .is_answer = 1};
                             send(connection, (record(header, body) + "!").substr(0, length));
                         });
    }
}

TEST_F(Faults, ABadClientIsCutOffAndTheOthersAreServed)
{
    const int server = ovra_open(service_address, 0666);
    ASSERT_GE(server, 0);
    const socket_end good = connect();
    const std::string bad[] = {"", "x", request(1) + "!", answer(1, "forged", 5),
                               record({.magic = 0})};
    uint32_t turn = 0;
    for (const std::string &record : bad) {
        const socket_end client = connect();
        ASSERT_TRUE(send(client, record));
        ASSERT_TRUE(send(good, request(++turn)));
        EXPECT_EQ(receive(server).opcode, turn) << "record " << turn;
        EXPECT_EQ(receive_now(server).error, EAGAIN) << "record " << turn;
        EXPECT_EQ(receive(client), "") << "record " << turn;
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
    EXPECT_EQ(send(queue_, service_address, 7, ""), EPIPE);
    expect_of_answer(EPIPE, "", "none, it dies", [](const socket_end &connection, uint32_t) {
        shutdown(connection.get(), SHUT_RDWR);
    });
}

TEST_F(Faults, NothingIsWaitedForTooLong)
{
    const socket_end nobody_accepts = open_listener();
    const socket_end crowded_listener = open_listener(502, 0);
    const socket_end first_of_the_crowd = connect(502);
    constexpr uint64_t crowded = OVRA_ADDRESS(OVRA_NODE_LOCAL, 502);
    const std::string large(OVRA_MAX_PAYLOAD, 'x');
    const struct {
        const char *name;
        std::function<int(int queue)> wait;
    } cases[] = {
        {"an answer",
         [](int queue) {
             uint32_t token = 0;
             EXPECT_EQ(send(queue, service_address, 7, "", &token), 0);
             return receive(queue, token, 1).error;
         }},
        {"any message",
         [](int queue) {
             EXPECT_EQ(send(queue, service_address, 7, ""), 0);
             return receive(queue, 0, 1).error;
         }},
        {"room for a message",
         [&](int queue) {
             int error = 0;
             while (error == 0)
                 error = send(queue, service_address, 1, large, nullptr, 1);
             return error;
         }},
        {"a connection", [&](int queue) { return send(queue, crowded, 1, "", nullptr, 1); }},
        {"the answer to a request", [](int) { return cmi_error("", 1); }},
    };
    std::vector<std::unique_ptr<process>> waiting;
    for (const auto &tried : cases) {
        waiting.push_back(std::make_unique<process>([&tried](process &) {
            const int queue = ovra_open(OVRA_ADDRESS_NONE, 0);
            const alarms interrupt;
            int error = 0;
            const double seconds = seconds_of([&] { error = tried.wait(queue); });
            return seconds >= 1 && seconds < 5 ? error : -1;
        }));
    }
    for (size_t i = 0; i < waiting.size(); ++i)
        EXPECT_EQ(waiting[i]->end(), ETIME) << cases[i].name << "; 255: in another time";
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
    process service([](process &parent) {
        const socket_end listener = open_listener();
        parent.tell();
        const socket_end connection = accept(listener);
        const std::string noise = answer(7, std::string(100, 'n'), 0);
        while (send(connection, noise))
            ;
        return 0;
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
    EXPECT_EQ(receive(lazy), "");

    ASSERT_TRUE(send(good, request(2, "", 2)));
    ASSERT_EQ(ovra_recv(server, &message, nullptr, nullptr), 0);
    EXPECT_EQ(ovra_answer(server, &message, 2, 0, "fine", 4), 0);
    EXPECT_EQ(receive(good), answer(2, "fine", 2));
    EXPECT_EQ(ovra_close(server), 0);
    EXPECT_EQ(ovra_answer(server, &message, 2, 0, nullptr, 0), -1);
    EXPECT_EQ(errno, EBADF);
    ovra_drop(&message);
}
