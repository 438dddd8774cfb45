#ifndef OVRA_LANDING_H
#define OVRA_LANDING_H

#include <cstddef>
#include <cstdlib>
#include <memory>

#include <sys/types.h>

#include "ovra/frame.h"

namespace kiv::transport {

struct free_deleter {
    void operator()(void *memory) const { std::free(memory); }
};
using memory = std::unique_ptr<char, free_deleter>;

// A sound frame that was received.
struct incoming {
    frame_header header{};
    memory block;            // the owner's prefix, the texts with their NULs, the payload
    char *payload = nullptr; // in the block, aligned for any type
};

// Where records arrive. Small ones are copied out of one room that is large enough for all. Where
// larger ones have come of late, the kernel fills a block of that size, which is handed on, and
// the room takes what does not fit.
class landing {
public:
    // Blocks begin with `prefix` bytes for their owner, a multiple of the largest alignment.
    explicit landing(size_t prefix) : prefix_(prefix) {}

    // Receives one record. Returns 0, or an errno value: EPIPE at the end of the connection, EPROTO
    // for what is no sound frame, that of recv, or ENOMEM, where nothing has been received.
    int receive(int socket, int flags, incoming &message);

private:
    int make_room();
    ssize_t receive_record(int socket, int flags, frame_header &header);
    void fill_block(size_t body_size);
    void give_room_away(size_t body_size);

    size_t prefix_;
    size_t expected_ = 0;
    size_t capacity_ = 0; // of the block, for a body; 0: there is none
    memory block_;
    memory room_; // a header, a body, and as much as it takes to turn it into a block
};

} // namespace kiv::transport

#endif
