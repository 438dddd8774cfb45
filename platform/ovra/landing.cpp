#include "ovra/landing.h"

#include <cerrno>
#include <cstring>

#include <poll.h>

namespace kiv::transport {

namespace {

size_t aligned(size_t offset)
{
    return (offset + alignment - 1) / alignment * alignment;
}

// A record without a byte and the end of the connection look the same to recv. A peer that only
// stops sending has ended it, too.
bool is_at_end(int socket)
{
    pollfd state{.fd = socket, .events = POLLRDHUP, .revents = 0};
    return poll(&state, 1, 0) == 1 && (state.revents & (POLLHUP | POLLRDHUP)) != 0;
}

} // namespace

int check_record(int socket, ssize_t size, const frame_header &header)
{
    if (size < 0)
        return errno;
    if (size == 0)
        return is_at_end(socket) ? EPIPE : EPROTO;
    const auto bytes = static_cast<size_t>(size);
    return bytes >= sizeof header && fits(header, bytes - sizeof header) ? 0 : EPROTO;
}

char *align_payload(const frame_header &header, char *body)
{
    const size_t sent_at = offset_of(header, 2);
    char *payload = body + aligned(sent_at);
    if (header.payload_length == 0)
        return nullptr;
    if (payload != body + sent_at)
        std::memmove(payload, body + sent_at, header.payload_length);
    return payload;
}

} // namespace kiv::transport
