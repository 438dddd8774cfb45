#ifndef OVRA_BLOCK_H
#define OVRA_BLOCK_H

#include <cstddef>
#include <cstdint>

#include <sys/socket.h>

#include <kiv/platform/ovra.h>

#include "ovra/landing.h"

namespace kiv::transport {

// What stands in front of the texts and the payload of a received message.
struct alignas(std::max_align_t) block_prefix {
    frame_header header;
    char *payload;
    ucred peer;
    uint32_t connection;
};

// A message that was received.
class block {
public:
    block() = default;
    block(incoming message, const ucred &peer, uint32_t connection);

    explicit operator bool() const { return memory_ != nullptr; }
    const frame_header &header() const { return prefix_of(memory_.get()).header; }
    bool answers(uint32_t token) const;

    // Gives the memory to a message of the interface.
    void move_to(ovra_message &message);
    void tell_peer(ovra_peer &peer) const;

    static const block_prefix &prefix_of(const void *start)
    {
        return *static_cast<const block_prefix *>(start);
    }

private:
    memory memory_;
};

inline bool is_answer_to(const frame_header &header, uint32_t token)
{
    return header.is_answer != 0 && header.token == token;
}

} // namespace kiv::transport

#endif
