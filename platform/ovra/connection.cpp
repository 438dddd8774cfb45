#include "ovra/connection.h"

#include <cerrno>

#include <sys/time.h>

#include "ovra/socket_name.h"

namespace kiv::transport {

namespace {

int peer_error(int error)
{
    switch (error) {
    case ECONNREFUSED:
    case ECONNRESET:
    case ENOENT:
    case ENOTCONN:
    case ENOTDIR:
        return EPIPE;
    case EPROTOTYPE:
        return EPROTO;
    case ENOBUFS: // the kernel's memory, not this library's backlog
        return ENOMEM;
    default:
        return error;
    }
}

// Repeats a call that waits for a socket, until it is done, fails or the time is over.
template <class Call>
int repeat(int socket, socket_timeout &timeout, deadline &until, Call call)
{
    for (;;) {
        if (until.waits()) {
            if (const int error = timeout.set(socket, until); error != 0)
                return error;
        }
        const int error = call(until.waits() ? 0 : MSG_DONTWAIT);
        if (error != EINTR && error != EAGAIN)
            return peer_error(error);
        if ((error == EAGAIN && !until.waits()) || until.is_over())
            return until.error();
    }
}

int message_error(ssize_t result)
{
    return result < 0 ? errno : 0;
}

// The kernel says first that a peer went away with something unread, and then, once more asked,
// gives what this peer had sent before.
template <class Call>
int past_reset(Call call)
{
    const int error = call();
    return error == ECONNRESET ? call() : error;
}

int make_room_to_send(int socket, size_t bytes)
{
    const int wanted = static_cast<int>(bytes);
    int size = 0;
    socklen_t length = sizeof size;
    if (getsockopt(socket, SOL_SOCKET, SO_SNDBUF, &size, &length) != 0)
        return errno;
    if (size >= wanted)
        return 0;
    return setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &wanted, sizeof wanted) == 0 ? 0 : errno;
}

} // namespace

int socket_timeout::set(int socket, deadline &until)
{
    constexpr int64_t hundredth = 10'000'000;
    int64_t wanted = 0;
    if (until.is_limited())
        wanted = std::max<int64_t>((until.nanoseconds_left() + hundredth - 1) / hundredth, 1);
    if (wanted == hundredths_)
        return 0;
    timeval time{};
    time.tv_sec = wanted / 100;
    time.tv_usec = wanted % 100 * 10000;
    if (setsockopt(socket, SOL_SOCKET, option_, &time, sizeof time) != 0)
        return errno;
    hundredths_ = wanted;
    return 0;
}

int connection::connect(uint64_t address, deadline &until)
{
    socket_ = descriptor::open([] { return socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0); });
    if (!socket_)
        return errno;
    const sockaddr_un name = socket_address(socket_path(address));
    const int error = repeat(number(), send_timeout_, until, [&](int) {
        return message_error(
            ::connect(number(), reinterpret_cast<const sockaddr *>(&name), sizeof name));
    });
    return error != 0 ? error : prepare();
}

// Room for some answers, as far as the system permits: those of a client that asks for several
// things before it reads.
int connection::take(descriptor socket)
{
    socket_ = std::move(socket);
    static_cast<void>(make_room_to_send(number(), 2 * max_body));
    return prepare();
}

int connection::prepare()
{
    socklen_t length = sizeof peer_;
    if (getsockopt(number(), SOL_SOCKET, SO_PEERCRED, &peer_, &length) != 0)
        return errno;
    // The largest record has to fit where the system's default is small.
    return make_room_to_send(number(), sizeof(frame_header) + max_body + 64);
}

void connection::close()
{
    if (socket_)
        shutdown(number(), SHUT_RDWR);
    socket_ = {};
}

int connection::send(const outgoing_frame &frame, deadline &until)
{
    // There is room nearly always.
    const int error = frame.send(number(), MSG_DONTWAIT);
    if (error != EAGAIN && error != EINTR)
        return peer_error(error);
    return repeat(number(), send_timeout_, until,
                  [&](int flags) { return frame.send(number(), flags); });
}

int connection::receive(landing &landing, deadline &until)
{
    return repeat(number(), receive_timeout_, until, [&](int flags) {
        return past_reset([&] { return landing.receive(number(), flags); });
    });
}

int connection::peek(frame_header &header, deadline &until)
{
    return repeat(number(), receive_timeout_, until, [&](int flags) {
        header = {};
        return past_reset([&] {
            return message_error(recv(number(), &header, sizeof header, flags | MSG_PEEK));
        });
    });
}

bool connection::has_unread() const
{
    char byte = 0;
    return past_reset([&] {
               const ssize_t size = recv(number(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
               return size > 0 ? 0 : size < 0 ? errno : EPIPE;
           }) == 0;
}

} // namespace kiv::transport
