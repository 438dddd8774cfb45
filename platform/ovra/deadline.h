#ifndef OVRA_DEADLINE_H
#define OVRA_DEADLINE_H

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>

namespace kiv::transport {

// Until when to wait, by the monotonic clock. The time runs from when it is first asked for: a call
// that does not wait looks at no clock. The clock that costs least is exact enough, with what it
// may be late by on top.
class deadline {
public:
    static deadline never() { return {true, 0}; }
    static deadline at_once() { return {false, 0}; }
    static deadline after(uint32_t seconds) { return {true, int64_t{seconds} * second}; }

    bool waits() const { return waits_; }
    bool is_limited() const { return !waits_ || length_ > 0; }
    bool is_over() { return is_limited() && nanoseconds_left() == 0; }

    // Only of one that is limited.
    int64_t nanoseconds_left()
    {
        if (length_ == 0)
            return 0;
        const int64_t time = now();
        if (end_ == 0) {
            end_ = time + length_ + tick;
            return length_;
        }
        return std::max<int64_t>(end_ - time, 0);
    }

    // What to say when it is over.
    int error() const { return waits_ ? ETIME : EAGAIN; }

private:
    static constexpr int64_t second = 1'000'000'000;
    static constexpr int64_t tick = second / 100; // of the slowest kernel

    deadline(bool waits, int64_t length) : waits_(waits), length_(length) {}

    static int64_t now()
    {
        timespec time{};
        clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
        return time.tv_sec * second + time.tv_nsec;
    }

    bool waits_;
    int64_t length_; // 0: none
    int64_t end_ = 0;
};

} // namespace kiv::transport

#endif
