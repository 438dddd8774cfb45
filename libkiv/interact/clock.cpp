#include "clock.h"

#include <algorithm>
#include <ctime>

namespace kiv::interact {

clock::time_point now()
{
    return clock::now();
}

int poll_descriptors(std::span<pollfd> descriptors, clock::duration at_most)
{
    const auto time = std::max(at_most, clock::duration::zero());
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    const std::chrono::nanoseconds rest = time - seconds;
    const timespec limit{seconds.count(), rest.count()};
    return ppoll(descriptors.data(), descriptors.size(), &limit, nullptr);
}

} // namespace kiv::interact
