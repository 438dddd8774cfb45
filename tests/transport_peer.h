// Both ends of the transport for tests: processes that tell each other when, and a peer that speaks
// the frames byte for byte, also wrong ones.
#ifndef KIV_TESTS_TRANSPORT_PEER_H
#define KIV_TESTS_TRANSPORT_PEER_H

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <kiv/platform/ovra.h>

#include "support/unique_fd.h"
#include "switch_root.h"

namespace transport_peer {

using socket_end = kiv::support::unique_fd;

constexpr uint32_t service_point = 500;
constexpr uint64_t service_address = OVRA_ADDRESS(OVRA_NODE_LOCAL, service_point);
constexpr const char *service_path = "/run/kiv/FE000000-500";

// A child process. It ends with the result of its function, which should be 0.
class process {
public:
    explicit process(const std::function<int(process &parent)> &run)
    {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
            std::abort();
        id_ = fork();
        pipe_ = socket_end(ends[id_ == 0 ? 1 : 0]);
        ::close(ends[id_ == 0 ? 0 : 1]);
        if (id_ != 0)
            return;
        process parent;
        parent.pipe_ = std::move(pipe_);
        _exit(run(parent));
    }
    process(const process &) = delete;
    process &operator=(const process &) = delete;
    ~process()
    {
        if (id_ > 0)
            kill();
    }

    pid_t id() const { return id_; }

    // The two ends wait for each other's word.
    void tell() const { static_cast<void>(::send(pipe_.get(), "", 1, MSG_NOSIGNAL)); }

    // False when the other one is gone.
    bool await() const
    {
        char byte = 0;
        ssize_t size = 0;
        while ((size = read(pipe_.get(), &byte, 1)) < 0 && errno == EINTR)
            ;
        return size == 1;
    }

    // Its exit status.
    int end()
    {
        int status = -1;
        while (waitpid(std::exchange(id_, -1), &status, 0) < 0 && errno == EINTR)
            ;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    void kill()
    {
        ::kill(id_, SIGKILL);
        end();
    }

private:
    process() = default;

    pid_t id_ = -1;
    socket_end pipe_;
};

// A process that answers every request with its own payload, and opcode 99 not at all, and ends.
constexpr uint32_t end_of_service = 99;

inline int serve_echoes(process &parent)
{
    const int queue = ovra_open(service_address, 0666);
    if (queue < 0)
        return 1;
    parent.tell();
    for (ovra_message message; ovra_recv(queue, &message, nullptr, nullptr) == 0;) {
        if (ovra_opc_get(&message) == end_of_service)
            return 0;
        if (ovra_answer(queue, &message, ovra_opc_get(&message), ovra_mode_get(&message) + 1,
                        ovra_payload_get(&message), ovra_payload_size(&message)) != 0)
            return 2;
        ovra_drop(&message);
    }
    return 3;
}

// The fields of a frame in the order in which they travel.
struct frame {
    uint32_t magic = OVRA_FRAME_MAGIC;
    uint32_t opcode = 0;
    int32_t mode = 0;
    uint32_t token = 0;
    uint32_t client = 0;
    uint32_t length = 0;
    uint16_t text_length[2] = {0, 0};
    uint32_t is_answer = 0;
};

inline std::string record(const frame &header, const std::string &body = {})
{
    static_assert(sizeof header == 32);
    std::string bytes(sizeof header, '\0');
    std::memcpy(bytes.data(), &header, sizeof header);
    return bytes + body;
}

// Two that are right in every respect.
inline std::string request(uint32_t opcode, const std::string &payload = {}, uint32_t token = 0,
                           uint32_t is_answer = 0)
{
    const auto length = static_cast<uint32_t>(payload.size());
    return record({.opcode = opcode, .token = token, .length = length, .is_answer = is_answer},
                  payload);
}

inline std::string answer(uint32_t opcode, const std::string &payload, uint32_t token)
{
    return request(opcode, payload, token, 1);
}

inline frame header_of(const std::string &record)
{
    frame header;
    if (record.size() >= sizeof header)
        std::memcpy(&header, record.data(), sizeof header);
    return header;
}

// A socket that `use`, bind or connect, has given the name of a service, or none.
template <typename Use>
socket_end named_socket(Use use, uint32_t sap)
{
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::snprintf(name.sun_path, sizeof name.sun_path, "/run/kiv/FE000000-%u", sap);
    socket_end end(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (use(end.get(), reinterpret_cast<const sockaddr *>(&name), sizeof name) != 0)
        end.close();
    return end;
}

inline socket_end open_listener(uint32_t sap = service_point, int backlog = 100)
{
    unlink(("/run/kiv/FE000000-" + std::to_string(sap)).c_str());
    socket_end end = named_socket(::bind, sap);
    if (::listen(end.get(), backlog) != 0)
        std::abort();
    return end;
}

inline socket_end accept(const socket_end &listener)
{
    return socket_end(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
}

inline socket_end connect(uint32_t sap = service_point)
{
    return named_socket(::connect, sap);
}

inline bool send(const socket_end &end, const std::string &record, int flags = 0)
{
    return ::send(end.get(), record.data(), record.size(), flags | MSG_NOSIGNAL) ==
           static_cast<ssize_t>(record.size());
}

// Empty when the other side has closed the connection.
inline std::string receive(const socket_end &end)
{
    std::string record(200'000, '\0');
    ssize_t size = 0;
    while ((size = recv(end.get(), record.data(), record.size(), 0)) < 0 &&
           (errno == EINTR || errno == ECONNRESET))
        ;
    record.resize(size > 0 ? static_cast<size_t>(size) : 0);
    return record;
}

// An exchange over the queue's interface, in short.
struct result {
    int error = 0; // errno, 0 for success
    std::string payload;
    uint32_t opcode = 0;
    uint32_t token = 0;
    uint32_t connection = 0;
};

inline result receive(int queue, uint32_t token = 0, uint32_t wait = 10, uint32_t flags = 0)
{
    const ovra_recv_options options{OVRA_OPTIONS_VERSION, flags, wait, token, {}};
    ovra_message message;
    result received;
    if (ovra_recv(queue, &message, nullptr, &options) != 0) {
        received.error = errno;
        return received;
    }
    received.opcode = ovra_opc_get(&message);
    received.token = ovra_rr_token_get(&message);
    received.connection = message.connection;
    if (ovra_payload_size(&message) > 0)
        received.payload.assign(static_cast<const char *>(ovra_payload_get(&message)),
                                ovra_payload_size(&message));
    ovra_drop(&message);
    return received;
}

inline result receive_now(int queue, uint32_t token = 0)
{
    return receive(queue, token, 0, OVRA_RECV_NO_WAIT);
}

inline int send(int queue, uint64_t address, uint32_t opcode, const std::string &payload,
                uint32_t *token = nullptr, uint32_t wait = 0)
{
    ovra_message sent;
    const ovra_send_options options{OVRA_OPTIONS_VERSION, wait, {}, 0, {}, {}};
    if (ovra_send(queue, address, opcode, payload.data(), static_cast<uint32_t>(payload.size()),
                  token != nullptr ? &sent : nullptr, 0, &options) != 0)
        return errno;
    if (token != nullptr) {
        *token = ovra_rr_token_get(&sent);
        ovra_drop(&sent);
    }
    return 0;
}

inline bool polls_readable(int queue)
{
    pollfd state{.fd = queue, .events = POLLIN, .revents = 0};
    return poll(&state, 1, 0) == 1 && state.revents == POLLIN;
}

// Interrupts whatever waits every millisecond, for as long as this lives.
class alarms {
public:
    alarms()
    {
        struct sigaction action {};
        action.sa_handler = [](int) { count_ = count_ + 1; };
        sigaction(SIGALRM, &action, nullptr);
        count_ = 0;
        const itimerval often{.it_interval = {0, 1000}, .it_value = {0, 1000}};
        setitimer(ITIMER_REAL, &often, nullptr);
    }
    alarms(const alarms &) = delete;
    alarms &operator=(const alarms &) = delete;
    ~alarms()
    {
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
        signal(SIGALRM, SIG_IGN);
    }

    static int count() { return count_; }

private:
    static inline volatile sig_atomic_t count_;
};

inline double seconds_of(const std::function<void()> &run)
{
    const auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// A test with a queue that is open.
class opened : public testing::Test {
protected:
    explicit opened(uint64_t address = OVRA_ADDRESS_NONE) : address_(address) {}

    void SetUp() override
    {
        switch_root::require();
        queue_ = ovra_open(address_, 0666);
        ASSERT_GE(queue_, 0);
    }
    void TearDown() override { ovra_close(queue_); }

    int queue_ = -1;

private:
    uint64_t address_;
};

} // namespace transport_peer

#endif
