#include "exec/diff_hash.h"

#include <chrono>

#include <sys/random.h>

namespace kiv::diff {

text_hash::text_hash()
{
    if (getrandom(seeds_.data(), sizeof seeds_, GRND_NONBLOCK) == sizeof seeds_)
        return;
    // Early in the start of a system there is nothing better yet.
    const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    uint64_t state = static_cast<uint64_t>(ticks) ^ reinterpret_cast<uintptr_t>(this);
    for (uint64_t &seed : seeds_)
        seed = state = mix(state ^ 0x9E3779B97F4A7C15U, 0xD6E8FEB86659FD93U);
}

} // namespace kiv::diff
