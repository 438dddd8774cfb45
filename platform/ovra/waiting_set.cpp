#include "ovra/waiting_set.h"

#include <cerrno>
#include <climits>

#include <sys/eventfd.h>
#include <sys/timerfd.h>

namespace kiv::transport {

namespace {

constexpr time_t alarm_seconds = 1;
constexpr int64_t millisecond = 1'000'000;

int milliseconds(deadline &until)
{
    if (!until.waits())
        return 0;
    if (!until.is_limited())
        return -1;
    const int64_t left = (until.nanoseconds_left() + millisecond - 1) / millisecond;
    return static_cast<int>(std::min<int64_t>(left, INT_MAX));
}

} // namespace

int waiting_set::open()
{
    epoll_ = descriptor::open([] { return epoll_create1(EPOLL_CLOEXEC); });
    if (!epoll_)
        return errno;
    bell_ = descriptor::open([] { return eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); });
    return bell_ ? add(bell_.number(), bell) : errno;
}

int waiting_set::open_alarm()
{
    alarm_ = descriptor::open(
        [] { return timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK); });
    return alarm_ ? add(alarm_.number(), alarm) : errno;
}

int waiting_set::add(int descriptor, uint64_t source)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = source;
    return epoll_ctl(number(), EPOLL_CTL_ADD, descriptor, &event) == 0 ? 0 : errno;
}

void waiting_set::remove(int descriptor)
{
    epoll_ctl(number(), EPOLL_CTL_DEL, descriptor, nullptr);
}

void waiting_set::listen(int descriptor, uint64_t source, bool is_on)
{
    epoll_event event{};
    event.events = is_on ? EPOLLIN : 0U;
    event.data.u64 = source;
    epoll_ctl(number(), EPOLL_CTL_MOD, descriptor, &event);
}

void waiting_set::ring(bool is_on)
{
    if (is_on == is_ringing_)
        return;
    eventfd_t value = 1;
    if (is_on)
        eventfd_write(bell_.number(), value);
    else
        eventfd_read(bell_.number(), &value);
    is_ringing_ = is_on;
}

void waiting_set::set_alarm()
{
    itimerspec time{};
    time.it_value.tv_sec = alarm_seconds;
    timerfd_settime(alarm_.number(), 0, &time, nullptr);
}

void waiting_set::stop_alarm()
{
    constexpr itimerspec never{};
    timerfd_settime(alarm_.number(), 0, &never, nullptr);
}

int waiting_set::wait(uint64_t &source, deadline &until)
{
    if (used_count_ == heard_count_) {
        if (const int error = fetch(until); error != 0)
            return error;
    }
    source = heard_[used_count_++].data.u64;
    return 0;
}

bool waiting_set::guess(uint64_t &source)
{
    if (guesses_left_ == 0 || used_count_ < heard_count_)
        return false;
    --guesses_left_;
    source = lone_;
    return true;
}

int waiting_set::fetch(deadline &until)
{
    constexpr uint32_t guesses = 16;
    for (;;) {
        const int count = epoll_wait(number(), heard_.data(), static_cast<int>(heard_.size()),
                                     milliseconds(until));
        if (count > 0) {
            heard_count_ = static_cast<size_t>(count);
            used_count_ = 0;
            const uint64_t lone = count == 1 && heard_[0].data.u64 < bell ? heard_[0].data.u64 : 0;
            guesses_left_ = lone != 0 && lone == lone_ ? guesses : 0;
            lone_ = lone;
            return 0;
        }
        if (count < 0 && errno != EINTR)
            return errno;
        if (until.is_over())
            return until.error();
    }
}

} // namespace kiv::transport
