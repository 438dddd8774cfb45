#include "transport_peer.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace transport_peer {

namespace {

sockaddr_un name_of(uint32_t sap)
{
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::snprintf(name.sun_path, sizeof name.sun_path, "/run/kiv/FE000000-%u", sap);
    return name;
}

const sockaddr *generic(const sockaddr_un &name)
{
    return reinterpret_cast<const sockaddr *>(&name);
}

volatile sig_atomic_t alarm_count;

} // namespace

socket_end::socket_end(socket_end &&other) noexcept : number_(std::exchange(other.number_, -1)) {}

socket_end &socket_end::operator=(socket_end &&other) noexcept
{
    socket_end taken(std::move(other));
    std::swap(number_, taken.number_);
    return *this;
}

socket_end::~socket_end()
{
    if (number_ >= 0)
        ::close(number_);
}

process::process(const std::function<int(process &parent)> &run)
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

process::~process()
{
    if (id_ > 0)
        kill();
}

void process::tell() const
{
    static_cast<void>(::send(pipe_.number(), "", 1, MSG_NOSIGNAL));
}

bool process::await() const
{
    char byte = 0;
    ssize_t size = 0;
    while ((size = read(pipe_.number(), &byte, 1)) < 0 && errno == EINTR)
        ;
    return size == 1;
}

int process::end()
{
    int status = -1;
    while (waitpid(std::exchange(id_, -1), &status, 0) < 0 && errno == EINTR)
        ;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void process::kill()
{
    ::kill(id_, SIGKILL);
    end();
}

int serve_echoes(process &parent)
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

std::string record(const frame &header, const std::string &body)
{
    static_assert(sizeof header == 32);
    std::string bytes(sizeof header, '\0');
    std::memcpy(bytes.data(), &header, sizeof header);
    return bytes + body;
}

std::string request(uint32_t opcode, const std::string &payload, uint32_t token)
{
    return record(
        {.opcode = opcode, .token = token, .length = static_cast<uint32_t>(payload.size())},
        payload);
}

std::string answer(uint32_t opcode, const std::string &payload, uint32_t token)
{
    return record({.opcode = opcode,
                   .token = token,
                   .length = static_cast<uint32_t>(payload.size()),
                   .is_answer = 1},
                  payload);
}

frame header_of(const std::string &record)
{
    frame header;
    if (record.size() >= sizeof header)
        std::memcpy(&header, record.data(), sizeof header);
    return header;
}

socket_end open_listener(uint32_t sap, int backlog)
{
    const sockaddr_un name = name_of(sap);
    unlink(name.sun_path);
    socket_end end(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (bind(end.number(), generic(name), sizeof name) != 0 || ::listen(end.number(), backlog) != 0)
        std::abort();
    return end;
}

socket_end accept(const socket_end &listener)
{
    return socket_end(accept4(listener.number(), nullptr, nullptr, SOCK_CLOEXEC));
}

socket_end connect(uint32_t sap)
{
    const sockaddr_un name = name_of(sap);
    socket_end end(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (::connect(end.number(), generic(name), sizeof name) != 0)
        return {};
    return end;
}

bool send(const socket_end &end, const std::string &record, int flags)
{
    return ::send(end.number(), record.data(), record.size(), flags | MSG_NOSIGNAL) ==
           static_cast<ssize_t>(record.size());
}

std::string receive(const socket_end &end)
{
    std::string record(200'000, '\0');
    ssize_t size = 0;
    while ((size = recv(end.number(), record.data(), record.size(), 0)) < 0 &&
           (errno == EINTR || errno == ECONNRESET))
        ;
    record.resize(size > 0 ? static_cast<size_t>(size) : 0);
    return record;
}

bool is_closed_by_peer(const socket_end &end)
{
    return receive(end).empty();
}

result receive(int queue, uint32_t token, uint32_t wait, uint32_t flags)
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
    if (ovra_payload_size(&message) > 0)
        received.payload.assign(static_cast<const char *>(ovra_payload_get(&message)),
                                ovra_payload_size(&message));
    ovra_drop(&message);
    return received;
}

result receive_now(int queue, uint32_t token)
{
    return receive(queue, token, 0, OVRA_RECV_NO_WAIT);
}

int send(int queue, uint64_t address, uint32_t opcode, const std::string &payload, uint32_t *token,
         uint32_t wait)
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

bool polls_readable(int queue)
{
    pollfd state{.fd = queue, .events = POLLIN, .revents = 0};
    return poll(&state, 1, 0) == 1 && state.revents == POLLIN;
}

alarms::alarms()
{
    struct sigaction action {};
    action.sa_handler = [](int) { alarm_count = alarm_count + 1; };
    sigaction(SIGALRM, &action, nullptr);
    alarm_count = 0;
    const itimerval often{.it_interval = {0, 1000}, .it_value = {0, 1000}};
    setitimer(ITIMER_REAL, &often, nullptr);
}

alarms::~alarms()
{
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    signal(SIGALRM, SIG_IGN);
}

int alarms::count()
{
    return alarm_count;
}

double seconds_of(const std::function<void()> &run)
{
    const auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::vector<int> descriptors()
{
    std::vector<int> open;
    for (int number = 0; number < 4096; ++number) {
        if (fcntl(number, F_GETFD) >= 0)
            open.push_back(number);
    }
    return open;
}

} // namespace transport_peer
