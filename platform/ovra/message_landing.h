#ifndef OVRA_MESSAGE_LANDING_H
#define OVRA_MESSAGE_LANDING_H

#include "ovra/block.h"
#include "ovra/landing.h"

namespace kiv::transport {

// Where messages of a queue arrive: in a room that is large enough for all. A large message keeps
// its room until it is dropped, so that it is copied once, from the kernel; a small one, or one of
// many, is copied to a block of its size.
class message_landing : public landing {
public:
    int receive(int socket, int flags) override;

    // The message that was received last. Cannot fail.
    block take(const ucred &peer, uint32_t connection);

private:
    block room_;
};

} // namespace kiv::transport

#endif
