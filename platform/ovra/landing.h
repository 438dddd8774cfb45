#ifndef OVRA_LANDING_H
#define OVRA_LANDING_H

#include <cstddef>

#include "ovra/frame.h"

namespace kiv::transport {

// Where the next record arrives.
class landing {
public:
    landing() = default;
    landing(const landing &) = delete;
    landing &operator=(const landing &) = delete;
    virtual ~landing() = default;

    // Receives one record. Returns 0, or an errno value: EPIPE at the end of the connection, EPROTO
    // for what is no sound frame, that of recv (POSIX), or ENOMEM, where nothing has been received.
    virtual int receive(int socket, int flags) = 0;
};

// Room behind a body, so that its payload can be moved to where it is aligned.
constexpr size_t alignment = alignof(std::max_align_t);

// Says what came of receiving `size` bytes, as receive does, -1 being an error: whether a sound
// header came, and a body that fits. There is never room for control data, so the kernel closes
// descriptors that come along.
int check_record(int socket, ssize_t size, const frame_header &header);

// Moves the payload of a body to where it is aligned; null when there is none.
char *align_payload(const frame_header &header, char *body);

} // namespace kiv::transport

#endif
