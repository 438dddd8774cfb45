#ifndef OVRA_PAYLOAD_LANDING_H
#define OVRA_PAYLOAD_LANDING_H

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "ovra/landing.h"

namespace kiv::transport {

struct free_deleter {
    void operator()(char *memory) const { std::free(memory); }
};
using heap_bytes = std::unique_ptr<char, free_deleter>;

// Where answers arrive whose payload goes to a caller who frees it: the kernel fills a block of the
// size that came of late, and a room behind it takes what does not fit. An answer of that size is
// copied once.
class payload_landing : public landing {
public:
    // Returns 0, or ENOMEM; then receiving does not fail for want of memory.
    int prepare();
    int receive(int socket, int flags) override;

    const frame_header &header() const { return header_; }
    // The payload of what was received last; null when it had none.
    heap_bytes take();

private:
    void fill_block(size_t body_size);
    void give_room_away();

    frame_header header_{};
    size_t expected_ = 0;
    size_t capacity_ = 0; // of the block; 0: there is none
    heap_bytes block_;
    heap_bytes room_;
};

} // namespace kiv::transport

#endif
