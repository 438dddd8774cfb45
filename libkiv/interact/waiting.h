// Waiting for the shell, with an eye on what keeps it from answering.
#ifndef KIV_INTERACT_WAITING_H
#define KIV_INTERACT_WAITING_H

#include <algorithm>
#include <optional>
#include <span>

#include "clock.h"

namespace kiv::interact {

// When waiting ends; by default never.
class time_limit {
public:
    time_limit() = default;
    explicit time_limit(clock::duration from_now) : end_(now() + from_now) {}

    bool reached() const { return end_ && now() >= *end_; }
    clock::duration at_most(clock::duration wish) const
    {
        return end_ ? std::min(wish, *end_ - now()) : wish;
    }
    time_limit or_in(clock::duration from_now) const
    {
        time_limit sooner(from_now);
        if (end_)
            sooner.end_ = std::min(*sooner.end_, *end_);
        return sooner;
    }

private:
    std::optional<clock::time_point> end_;
};

enum class waited { ready, expired, child_gone, failed };

// Does the end of the session's child end the wait?
enum class child_watch { off, on };

// Waits until one of the descriptors is ready, even if the limit has been reached by then.
// Meanwhile the child's standard error is kept from filling up.
waited wait_for(std::span<pollfd> descriptors, const time_limit &limit, child_watch watch);

// Waits until the descriptor can be read: for a moment, and then, with retries, for longer and
// longer.
waited wait_for_data(int descriptor, bool retry, const time_limit &limit, child_watch watch);

bool has_data(int descriptor);

} // namespace kiv::interact

#endif
