#ifndef OVRA_CONNECTION_H
#define OVRA_CONNECTION_H

#include <cstdint>

#include <sys/socket.h>

#include "ovra/deadline.h"
#include "ovra/descriptor.h"
#include "ovra/frame.h"
#include "ovra/landing.h"

namespace kiv::transport {

// A time-out of a socket. Setting it is a system call, so it is set only when it changes: to what
// is left, rounded up to a hundredth of a second.
class socket_timeout {
public:
    explicit socket_timeout(int option) : option_(option) {}
    int set(int socket, deadline &until);

private:
    int option_;
    int64_t hundredths_ = 0; // 0: no limit
};

// One end of a connection. Functions return 0 or an errno value, for the kernel's that mean
// that the peer is not there EPIPE.
class connection {
public:
    connection() = default;

    // Connects to the socket of an address.
    int connect(uint64_t address, deadline &until);
    // Takes over what accept returned.
    int take(descriptor socket);

    bool is_open() const { return static_cast<bool>(socket_); }
    int number() const { return socket_.number(); }
    // Lets the peer see the end at once, whoever else holds the descriptor.
    void close();

    // ETIME, or EAGAIN with a deadline that does not wait, when there is no room.
    int send(const outgoing_frame &frame, deadline &until);
    int receive(landing &landing, deadline &until);
    // The header of what comes next, which stays there.
    int peek(frame_header &header, deadline &until);
    bool has_unread() const;

    const ucred &peer() const { return peer_; }

private:
    int prepare();

    descriptor socket_;
    ucred peer_{};
    socket_timeout send_timeout_{SO_SNDTIMEO};
    socket_timeout receive_timeout_{SO_RCVTIMEO};
};

} // namespace kiv::transport

#endif
