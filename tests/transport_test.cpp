// Messages between processes: what arrives, in what order, from whom, and when nothing does.

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <kiv/platform/cmi.h>
#include <kiv/platform/ovra.h>

#include "memory_shortage.h"
#include "transport_peer.h"

using namespace transport_peer;
using testing::ElementsAre;

namespace {

using Queue = opened;

class Server : public opened {
protected:
    Server() : opened(service_address) {}
};

struct reply {
    int status;
    int error;
    std::string payload;
};

// A status of -1 has no error.
reply ask(const std::string &payload, const char *text1 = "", const char *text2 = nullptr,
          uint32_t opcode = 7)
{
    void *response = nullptr;
    auto length = static_cast<uint32_t>(payload.size());
    errno = ETIME;
    const int status = cmi_req_resp(opcode, 40, payload.data(), &response, &length, text1, text2,
                                    service_point, 37, 10);
    reply received{status, status == -1 ? errno : 0, {}};
    if (response != nullptr)
        received.payload.assign(static_cast<const char *>(response), length);
    else
        EXPECT_EQ(length, 0U);
    std::free(response);
    return received;
}

// Sends a record with something beside it.
template <typename Beside>
bool send_with(const socket_end &end, std::string record, int type, const Beside &beside)
{
    iovec content{record.data(), record.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof beside)> control{};
    msghdr message{};
    message.msg_iov = &content;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr *header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = type;
    header->cmsg_len = CMSG_LEN(sizeof beside);
    std::memcpy(CMSG_DATA(header), &beside, sizeof beside);
    return sendmsg(end.get(), &message, 0) > 0;
}

rlim_t raise_limit_of_descriptors()
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    return limit.rlim_max;
}

// Answers the next message by its own opcode, which is the result, or -1.
int answer_next(int queue, int32_t status)
{
    ovra_message message;
    if (ovra_recv(queue, &message, nullptr, nullptr) != 0)
        return -1;
    const auto opcode = static_cast<int>(ovra_opc_get(&message));
    const int result = ovra_answer(queue, &message, ovra_opc_get(&message), status, nullptr, 0);
    ovra_drop(&message);
    return result == 0 ? opcode : -1;
}

std::string pattern(size_t size)
{
    std::string text(size, '\0');
    for (size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>(i * 7 + i / 256);
    return text;
}

} // namespace

TEST_F(Queue, CarriesMessagesOfEverySizeThatFits)
{
    process server(serve_echoes);
    ASSERT_TRUE(server.await());
    uint32_t token = 0;
    for (const size_t size : {0U, 1U, 88U, 2048U, 14'600U, 3U, OVRA_MAX_PAYLOAD, 100U}) {
        ASSERT_EQ(send(queue_, service_address, 7, pattern(size), &token), 0) << size;
        const result answer = receive(queue_, token);
        EXPECT_EQ(answer.error, 0) << size;
        EXPECT_EQ(answer.token, token);
        EXPECT_EQ(answer.opcode, 7U);
        EXPECT_TRUE(answer.payload == pattern(size)) << size;

        const reply same = ask(pattern(size));
        EXPECT_EQ(same.status, 41) << size;
        EXPECT_TRUE(same.payload == pattern(size)) << size;
    }
    const std::string largest(OVRA_MAX_PAYLOAD, 'x');
    const std::string text(65'536, 't');
    EXPECT_EQ(send(queue_, service_address, 7, largest + 'x', &token), EMSGSIZE);
    EXPECT_EQ(ask(largest + 'x').error, EMSGSIZE);
    EXPECT_EQ(ask(largest, "t").error, EMSGSIZE);
    EXPECT_EQ(ask("", text.c_str()).error, EMSGSIZE);
    EXPECT_EQ(ask("x", text.c_str() + 1, "y").payload, "x");
    EXPECT_EQ(ask(largest.substr(2), "t", "t").payload.size(), OVRA_MAX_PAYLOAD - 2);

    EXPECT_EQ(send(queue_, service_address, end_of_service, ""), 0);
    EXPECT_EQ(server.end(), 0);
}

TEST_F(Queue, SendsTheFrameThatIsLaidDown)
{
    const socket_end listener = open_listener();
    uint32_t token = 0;
    ASSERT_EQ(send(queue_, service_address, 0x01020304, "load", &token), 0);
    const socket_end end = accept(listener);
    EXPECT_EQ(receive(end), request(0x01020304, "load", token));
    ASSERT_EQ(send(queue_, service_address, 5, ""), 0);
    EXPECT_EQ(receive(end), request(5));

    process client([](process &) {
        const reply got = ask("ab", "t1", "text2");
        return got.status == -1 && got.error == 0 && got.payload == "why" ? 0 : 1;
    });
    const socket_end asked = accept(listener);
    const std::string record = receive(asked);
    const frame header = header_of(record);
    EXPECT_EQ(record.substr(32), std::string("t1\0text2\0ab", 11));
    EXPECT_EQ(header.mode, 40);
    EXPECT_EQ(header.client, 37U);
    EXPECT_EQ(header.length, 2U);
    EXPECT_NE(header.token, 0U);
    EXPECT_THAT(header.text_length, ElementsAre(2, 5));
    const frame refusal{.mode = -1, .token = header.token, .length = 3, .is_answer = 1};
    EXPECT_TRUE(send(asked, transport_peer::record(refusal, "why")));
    EXPECT_EQ(client.end(), 0) << "-1 as a status is no failure";
}

TEST_F(Server, LetsNobodyWaitLongAndKeepsTheOrderOfEachSender)
{
    constexpr uint32_t count = 80;
    std::vector<socket_end> clients;
    const auto add_busy_client = [&clients] {
        clients.push_back(connect());
        for (uint32_t i = 0; i < count; ++i)
            EXPECT_TRUE(send(clients.back(), request(i)));
    };
    add_busy_client();
    std::map<uint32_t, uint32_t> next; // of each connection
    for (uint32_t i = 0; i < count; ++i) {
        if (i == 10 || i == 30)
            add_busy_client();
        const result received = receive_now(queue_);
        ASSERT_EQ(received.error, 0);
        EXPECT_EQ(received.opcode, next[received.connection]++);
    }
    EXPECT_EQ(next.size(), clients.size());
    for (const auto &[connection, served] : next)
        EXPECT_GE(served, 10U) << "connection " << connection;
}

TEST_F(Server, ReportsTheSenderThatTheKernelKnowsAndAllThatIsSaid)
{
    process liar([](process &) {
        const socket_end end = connect();
        const std::string bytes =
            record({.opcode = 1, .mode = 40, .client = 4711, .length = 7, .text_length = {3, 5}},
                   std::string("one\0text2\0payload", 17));
        // Only the superuser may lie here.
        const ucred lie{geteuid() == 0 ? getppid() : getpid(), geteuid(), getegid()};
        if (!send_with(end, bytes, SCM_CREDENTIALS, lie) && !send(end, bytes))
            return 1;
        return receive(end) == answer(3225, "online", 0) ? 0 : 2;
    });
    ovra_message message;
    ovra_peer peer{};
    peer.version = OVRA_OPTIONS_VERSION;
    ASSERT_EQ(ovra_recv(queue_, &message, &peer, nullptr), 0);
    EXPECT_EQ(peer.pid, static_cast<uint32_t>(liar.id()));
    EXPECT_EQ(peer.uid, getuid());
    EXPECT_EQ(peer.gid, getgid());
    EXPECT_EQ(peer.client, 4711U);
    EXPECT_EQ(peer.connection, message.connection);
    EXPECT_EQ(ovra_mode_get(&message), 40);
    EXPECT_EQ(ovra_rr_token_get(&message), 0U);
    EXPECT_STREQ(ovra_text_get(&message, 0), "one");
    EXPECT_STREQ(ovra_text_get(&message, 1), "text2");
    EXPECT_STREQ(ovra_text_get(&message, 2), "");
    const void *payload = ovra_payload_get(&message);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(payload) % alignof(max_align_t), 0U);
    EXPECT_EQ(std::string_view(static_cast<const char *>(payload), 7), "payload");
    EXPECT_EQ(ovra_answer(queue_, &message, 3225, 0, "online", 6), 0);
    ovra_drop(&message);
    EXPECT_EQ(liar.end(), 0);
}

TEST_F(Server, TakesNoDescriptors)
{
    const socket_end client = connect();
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    const socket_end reading(ends[0]);
    ASSERT_TRUE(send_with(client, request(1), SCM_RIGHTS, ends[1]));
    close(ends[1]);
    EXPECT_EQ(receive(queue_).opcode, 1U);
    char byte = 0;
    EXPECT_EQ(read(reading.get(), &byte, 1), 0) << "somebody still holds the other end";
}

TEST_F(Server, ServesAsManyConnectionsAsItSaysAndLetsTheOthersWait)
{
    if (raise_limit_of_descriptors() < 2 * OVRA_MAX_CONNECTIONS + 200)
        GTEST_SKIP() << "too few descriptors";
    std::vector<socket_end> clients;
    for (uint32_t i = 0; i < OVRA_MAX_CONNECTIONS; ++i) {
        clients.push_back(connect());
        ASSERT_TRUE(send(clients.back(), request(i, "", 1)));
        ASSERT_EQ(answer_next(queue_, 0), static_cast<int>(i));
    }
    for (uint32_t i = 0; i < OVRA_MAX_CONNECTIONS; ++i)
        ASSERT_EQ(header_of(receive(clients[i])).opcode, i);

    const socket_end one_more = connect();
    ASSERT_TRUE(send(one_more, request(1)));
    EXPECT_EQ(receive_now(queue_).error, EAGAIN);
    EXPECT_FALSE(polls_readable(queue_)) << "a poll loop would spin";
    clients.pop_back();
    EXPECT_EQ(receive(queue_).opcode, 1U);
    clients.clear();
    EXPECT_EQ(receive_now(queue_).error, EAGAIN);
    EXPECT_FALSE(polls_readable(queue_));
}

TEST_F(Server, GivesOneUserAShareOfItsConnections)
{
    process other([](process &parent) {
        const char *tool = std::getenv("KIV_ROOT_TOOL");
        const bool is_alone = tool != nullptr && std::string(tool) == "proot";
        if (raise_limit_of_descriptors() < OVRA_MAX_OF_USER + 200 || is_alone || geteuid() != 0 ||
            seteuid(65'534) != 0)
            return 77;
        std::vector<socket_end> clients;
        for (uint32_t i = 0; i < OVRA_MAX_OF_USER; ++i) {
            clients.push_back(connect());
            send(clients.back(), request(1, "", 1));
            if (header_of(receive(clients.back())).opcode != 1)
                return 1;
        }
        if (ask("").error != EPIPE)
            return 2;
        clients.pop_back();
        // The server may hear of the next one before it hears of that.
        for (int tries = 0; ask("").status != 5; ++tries)
            if (tries == 1000)
                return 3;
        parent.tell();
        return parent.await() ? 0 : 4;
    });
    std::thread serving([this] {
        while (answer_next(queue_, 5) != static_cast<int>(end_of_service))
            ;
    });
    const bool is_at_limit = other.await();
    EXPECT_EQ(ask("").status, 5) << "others are served";
    EXPECT_EQ(ask("", "", "", end_of_service).status, 5);
    serving.join();
    other.tell();
    const int result = other.end();
    if (result == 77)
        GTEST_SKIP() << "no other user here, or too few descriptors";
    EXPECT_TRUE(is_at_limit);
    EXPECT_EQ(result, 0);
}

TEST_F(Server, GoesOnWhenDescriptorsAreThereAgain)
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const socket_end early = connect();
    ASSERT_TRUE(send(early, request(1)));
    EXPECT_EQ(receive(queue_).opcode, 1U);
    const socket_end late = connect();
    ASSERT_TRUE(send(late, request(2)));

    const rlimit none{.rlim_cur = 0, .rlim_max = limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(receive_now(queue_).error, EAGAIN);
    EXPECT_FALSE(polls_readable(queue_)) << "a poll loop would spin";
    ASSERT_TRUE(send(early, request(3)));
    EXPECT_EQ(receive(queue_).opcode, 3U);
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(receive(queue_).opcode, 2U);
}

TEST_F(Queue, IsClosedInChildren)
{
    process server(serve_echoes);
    ASSERT_TRUE(server.await());
    EXPECT_EQ(ask("before").payload, "before");
    uint32_t token = 0;
    ASSERT_EQ(send(queue_, service_address, 7, "ours", &token), 0);
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto before = descriptors();
    process child([&](process &) {
        // Gone are the two of the queue and two connections; the way to the parent has come.
        if (descriptors() != before - 4 + 1)
            return 1;
        if (receive(queue_, token).error != EBADF || ovra_close(queue_) == 0)
            return 2;
        const int own = ovra_open(OVRA_ADDRESS_NONE, 0);
        uint32_t own_token = 0;
        if (send(own, service_address, 7, "own", &own_token) != 0 ||
            receive(own, own_token).payload != "own" || ask("child").payload != "child")
            return 3;
        return 0;
    });
    EXPECT_EQ(child.end(), 0);
    EXPECT_EQ(receive(queue_, token).payload, "ours");
    EXPECT_EQ(ask("after").payload, "after");
}

TEST_F(Queue, TakesTheNumberOfOneWhoseDescriptorsWereClosed)
{
    process child([](process &) {
        alarm(20);
        const int first = ovra_open(service_address, 0666);
        close_range(static_cast<unsigned>(first), ~0U, 0);
        const int second = ovra_open(service_address, 0666);
        if (first < 0 || second != first)
            return 1;
        const socket_end client = connect();
        return send(client, request(3)) && receive(second).opcode == 3 ? ovra_close(second) : 2;
    });
    EXPECT_EQ(child.end(), 0);
}

TEST_F(Queue, CanBeAskedForWhileTheProcessEnds)
{
    process server(serve_echoes);
    ASSERT_TRUE(server.await());
    process child([](process &) {
        std::atexit([] { _exit(ask("late").payload == "late" && ask("").status == 41 ? 0 : 1); });
        std::exit(ask("before").payload == "before" ? 2 : 3);
        return 4;
    });
    EXPECT_EQ(child.end(), 0);
}

TEST_F(Queue, PollsReadableWhileThereIsSomethingToReceive)
{
    EXPECT_TRUE(polls_readable(queue_)) << "nobody can send here: that is EPIPE";
    EXPECT_EQ(receive(queue_).error, EPIPE);
    const socket_end listener = open_listener();
    uint32_t token = 0;
    ASSERT_EQ(send(queue_, service_address, 1, "", &token), 0);
    EXPECT_FALSE(polls_readable(queue_));
    socket_end end = accept(listener);
    ASSERT_TRUE(send(end, answer(2, "kept", 0)) && send(end, answer(1, "", token)));
    EXPECT_TRUE(polls_readable(queue_));
    EXPECT_EQ(receive(queue_, token).opcode, 1U);
    EXPECT_TRUE(polls_readable(queue_)) << "a message was kept";
    EXPECT_EQ(receive(queue_).payload, "kept");
    EXPECT_FALSE(polls_readable(queue_));
    EXPECT_EQ(receive_now(queue_).error, EAGAIN);
    end.close();
    EXPECT_TRUE(polls_readable(queue_));
    EXPECT_EQ(receive(queue_).error, EPIPE);
}

TEST_F(Queue, RefusesWhatIsNoneOfItsValues)
{
    const ovra_send_options other_version{2, 0, {}, 0, {}, {}};
    const ovra_recv_options other_flags{1, 2, 0, 0, {}};
    ovra_message message;
    EXPECT_EQ(ovra_send(queue_, service_address, 1, "", 0, nullptr, 0, &other_version), -1);
    EXPECT_EQ(std::exchange(errno, 0), EINVAL);
    EXPECT_EQ(ovra_recv(queue_, &message, nullptr, &other_flags), -1);
    EXPECT_EQ(std::exchange(errno, 0), EINVAL);
    EXPECT_EQ(ovra_open(OVRA_ADDRESS_NONE, 010000), -1);
    EXPECT_EQ(std::exchange(errno, 0), EINVAL);
    EXPECT_EQ(ovra_options_set(1000, 1, 1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(ovra_options_set(queue_, 3225, 0x7000F | OVRA_OPTION_AWAITED), 0);
    EXPECT_EQ(ovra_options_get(queue_, 3225), 0x1F) << "the low 16 bits are kept";
}

TEST_F(Server, LosesNothingWithoutMemory)
{
    SKIP_UNLESS_MEMORY_CAN_BE_SHORT();
    const socket_end client = connect();
    ASSERT_TRUE(send(client, request(1)));
    for (int i = 0; i < 2; ++i) { // at the connection, and at the message
        ovra_message message;
        int result = 0;
        {
            const kiv_tests::memory_shortage short_of_memory;
            result = ovra_recv(queue_, &message, nullptr, nullptr);
        }
        EXPECT_EQ(result, -1) << i;
        EXPECT_EQ(errno, ENOMEM) << i;
        EXPECT_EQ(message.block, nullptr) << i;
    }
    EXPECT_EQ(receive(queue_).opcode, 1U);
}
