#include "clock.h"

#include <algorithm>
#include <ctime>

namespace kiv::interact {

clock::time_point now()
{
    return clock::now();
}

int poll_descriptors(std::span<pollfd> descriptors, const clock::duration *at_most)
{
    timespec limit{};
    if (at_most != nullptr) {
        const auto rest = std::max(*at_most, clock::duration::zero());
        const auto seconds = std::chrono::floor<std::chrono::seconds>(rest);
        limit.tv_sec = seconds.count();
        limit.tv_nsec = std::chrono::nanoseconds(rest - seconds).count();
    }
    return ppoll(descriptors.data(), descriptors.size(), at_most == nullptr ? nullptr : &limit,
                 nullptr);
}

} // namespace kiv::interact
