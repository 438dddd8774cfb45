#ifndef KIV_LIB_HOUR_CLOCK_H
#define KIV_LIB_HOUR_CLOCK_H

#include <cstdint>

#include <sys/time.h>

namespace kiv {

// The microseconds of the current hour, wrapped to 32 bits.
constexpr int32_t microseconds_of_hour(const timeval &time)
{
    constexpr int64_t seconds_of_hour = 3600;
    constexpr int64_t microseconds_of_second = 1'000'000;
    return static_cast<int32_t>(time.tv_sec % seconds_of_hour * microseconds_of_second +
                                time.tv_usec);
}

} // namespace kiv

#endif
