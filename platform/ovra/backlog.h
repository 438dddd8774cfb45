#ifndef OVRA_BACKLOG_H
#define OVRA_BACKLOG_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "ovra/block.h"

namespace kiv::transport {

// Messages that arrived while their receiver waited for something else, in their order.
class backlog {
public:
    bool is_empty() const { return count_ == 0; }

    // The answer to a request, or with 0 the oldest message; empty when there is none.
    block take(uint32_t token);

    // Whether there is room for one more, if need be in place of an answer that nobody waits for.
    bool has_room();
    void keep(block message) { messages_[count_++] = std::move(message); }

    // Says that the wait for an answer has ended without it.
    void give_up(uint32_t token);

    // Drops what is known of a token that is given to another request now.
    void forget(uint32_t token);

private:
    block remove(size_t index);
    bool is_given_up(const block &message) const;

    std::array<block, OVRA_MAX_BACKLOG> messages_;
    size_t count_ = 0;
    std::array<uint32_t, OVRA_MAX_BACKLOG> given_up_{}; // the last ones
    size_t next_given_up_ = 0;
};

} // namespace kiv::transport

#endif
