#ifndef OVRA_BLOCK_H
#define OVRA_BLOCK_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include <sys/socket.h>

#include <kiv/platform/ovra.h>

#include "ovra/frame.h"

namespace kiv::transport {

// What stands in front of the texts and the payload of a received message.
struct alignas(std::max_align_t) block_prefix {
    char *payload;
    ucred peer;
    uint32_t connection;
    bool is_room;
    alignas(std::max_align_t) frame_header header; // the body follows
};

// The memory of a message that was received. A room is a block that holds any message; one is kept
// for the next time when it is released.
class block {
public:
    block() = default;

    // Empty without memory.
    static block room();
    block copy(size_t body_size) const;

    // Whether few rooms are with messages.
    static bool may_lend_room();

    explicit operator bool() const { return memory_ != nullptr; }
    block_prefix &prefix() { return *memory_; }
    const frame_header &header() const { return memory_->header; }
    char *body() { return reinterpret_cast<char *>(memory_.get() + 1); }
    bool answers(uint32_t token) const;

    // Gives the memory to a message of the interface, which gives it back.
    void move_to(ovra_message &message);
    static void drop(ovra_message &message);
    void tell_peer(ovra_peer &peer) const;

private:
    struct release {
        void operator()(block_prefix *memory) const;
    };
    using memory = std::unique_ptr<block_prefix, release>;

    static memory allocate(size_t body_size, bool is_room);

    memory memory_;
};

inline bool is_answer_to(const frame_header &header, uint32_t token)
{
    return header.is_answer != 0 && header.token == token;
}

} // namespace kiv::transport

#endif
