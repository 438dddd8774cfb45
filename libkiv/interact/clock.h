// What time it is, and waiting: the only place where the session's code does either, so that a test
// can let time pass as it likes.
#ifndef KIV_INTERACT_CLOCK_H
#define KIV_INTERACT_CLOCK_H

#include <chrono>
#include <span>

#include <poll.h>

namespace kiv::interact {

using clock = std::chrono::steady_clock;

clock::time_point now();

// As poll (POSIX), but no less exact than the clock.
int poll_descriptors(std::span<pollfd> descriptors, clock::duration at_most);

} // namespace kiv::interact

#endif
