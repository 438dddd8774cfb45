#include "server.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>

#include "support/files.h"

namespace kivd {

namespace {

constexpr uint32_t daemon_point = 37;
constexpr uint32_t platform_point = 0;
constexpr uint32_t open_to_all = 0666;

// What an event is about: a queue by its index, or one of these.
constexpr uint64_t tag_signal = 100;
constexpr uint64_t tag_processes = 101;

// Milliseconds.
constexpr int one_second = 1000;
constexpr int no_limit = -1;

// Every client that connects takes a descriptor, and the daemon needs some for its files.
void raise_descriptor_limit()
{
    rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace

const std::array<server::point, 3> server::points{
    point{access_point::daemon, OVRA_ADDRESS(OVRA_NODE_LOCAL, daemon_point),
          "the daemon's address"},
    point{access_point::platform, OVRA_ADDRESS(OVRA_NODE_LOCAL, platform_point),
          "the platform's address"},
    point{access_point::active_node, OVRA_ADDRESS(OVRA_NODE_ACTIVE, daemon_point),
          "the address of the active node"},
};

queue::~queue()
{
    if (number_ >= 0)
        ovra_close(number_);
}

int queue::open(uint64_t address)
{
    number_ = ovra_open(address, open_to_all);
    return number_ >= 0 ? 0 : errno;
}

int server::watch(int descriptor, uint64_t tag)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = tag;
    return epoll_ctl(events_.get(), EPOLL_CTL_ADD, descriptor, &event) == 0 ? 0 : errno;
}

int server::open()
{
    raise_descriptor_limit();
    sigset_t taken;
    sigemptyset(&taken);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&taken, signal);
    if (sigprocmask(SIG_BLOCK, &taken, nullptr) != 0)
        return errno;
    signals_ = kiv::support::unique_fd(signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK));
    events_ = kiv::support::unique_fd(epoll_create1(EPOLL_CLOEXEC));
    if (!signals_ || !events_)
        return errno;
    for (size_t i = 0; i < points.size(); ++i) {
        if (const int error = queues_[i].open(points[i].address); error != 0) {
            log_.complain(std::string("cannot open ") + points[i].name + ": " +
                          std::strerror(error));
            return error;
        }
        if (const int error = watch(queues_[i].number(), i); error != 0)
            return error;
    }
    return watch(signals_.get(), tag_signal);
}

int server::follow_processes()
{
    return watch(daemon_.watched(), tag_processes);
}

void server::serve_one(size_t index)
{
    ovra_message message{};
    ovra_peer sender{};
    sender.version = OVRA_OPTIONS_VERSION;
    ovra_recv_options at_once{};
    at_once.version = OVRA_OPTIONS_VERSION;
    at_once.flags = OVRA_RECV_NO_WAIT;
    if (ovra_recv(queues_[index].number(), &message, &sender, &at_once) != 0) {
        if (errno != EAGAIN)
            daemon_.cannot_exchange("cannot receive", 0, errno);
        return;
    }
    const std::span payload(static_cast<const std::byte *>(ovra_payload_get(&message)),
                            ovra_payload_size(&message));
    const reply made =
        daemon_.serve({points[index].where, ovra_opc_get(&message), payload, sender});
    // A one-way message is answered only where it asks for something.
    const bool wanted = ovra_rr_token_get(&message) != 0 || made.opcode != ovra_opc_get(&message);
    if (wanted && ovra_answer(queues_[index].number(), &message, made.opcode,
                              static_cast<int32_t>(made.status), made.payload.data(),
                              static_cast<uint32_t>(made.payload.size())) != 0)
        daemon_.cannot_exchange("cannot answer", sender.pid, errno);
    ovra_drop(&message);
}

// Says whether to go on.
bool server::take_signal()
{
    signalfd_siginfo info;
    if (kiv::support::read_some(signals_.get(), reinterpret_cast<char *>(&info), sizeof info) !=
        sizeof info)
        return true;
    if (info.ssi_signo != SIGHUP)
        return false;
    log_.reopen();
    return true;
}

int server::run()
{
    for (;;) {
        epoll_event event;
        const int count =
            epoll_wait(events_.get(), &event, 1, log_.has_suppressed() ? one_second : no_limit);
        if (count < 0 && errno != EINTR)
            return errno;
        if (count == 0)
            log_.tell_suppressed();
        if (count < 1)
            continue;
        if (event.data.u64 == tag_processes)
            daemon_.ended();
        else if (event.data.u64 != tag_signal)
            serve_one(event.data.u64);
        else if (!take_signal())
            return 0;
    }
}

} // namespace kivd
