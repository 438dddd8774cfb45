#include "waiting.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <unistd.h>

#include "session.h"

namespace kiv::interact {

namespace {

using namespace std::chrono_literals;

// Whether the child has ended or its standard error is full does not show in what is waited for, so
// a wait looks around from time to time, less and less often.
constexpr clock::duration first_look = 1ms;
constexpr clock::duration rarest_look = 100ms;

constexpr clock::duration moment = 30ms;
constexpr int retries = 10;

bool is_full(int write_end)
{
    pollfd full{write_end, POLLOUT, 0};
    return poll(&full, 1, 0) == 0;
}

// What the child writes to its standard error during one wait: left to the caller until the pipe is
// full, and from then on discarded.
class watched_errors {
public:
    // As poll_descriptors; standard error is none of those that are counted.
    int poll(std::span<pollfd> descriptors, clock::duration at_most);

    void look()
    {
        if (!overflowed_ && current.owns_errors())
            overflowed_ = is_full(kiv_to_kiv_agent_stderr_pipe[1]);
    }

private:
    void discard();

    bool overflowed_ = false;
};

int watched_errors::poll(std::span<pollfd> descriptors, clock::duration at_most)
{
    if (!overflowed_)
        return poll_descriptors(descriptors, at_most);
    std::array<pollfd, 3> all{};
    const auto end = std::copy(descriptors.begin(), descriptors.end(), all.begin());
    *end = {kiv_to_kiv_agent_stderr_pipe[0], POLLIN, 0};
    int ready = poll_descriptors({all.begin(), end + 1}, at_most);
    if (ready > 0 && end->revents != 0) {
        discard();
        --ready;
    }
    std::copy(all.begin(), end, descriptors.begin());
    return ready;
}

void watched_errors::discard()
{
    std::array<char, size_t{64} << 10> discarded;
    const ssize_t size = read(kiv_to_kiv_agent_stderr_pipe[0], discarded.data(), discarded.size());
    if (size == 0 || (size < 0 && errno != EINTR))
        overflowed_ = false;
}

bool any_is_invalid(std::span<pollfd> descriptors)
{
    return std::ranges::any_of(descriptors,
                               [](const pollfd &one) { return (one.revents & POLLNVAL) != 0; });
}

// What the child wrote before it ended may have come after the last look.
waited after_the_child(std::span<pollfd> descriptors)
{
    return poll_descriptors(descriptors, clock::duration::zero()) > 0 ? waited::ready
                                                                      : waited::child_gone;
}

} // namespace

waited wait_for(std::span<pollfd> descriptors, const time_limit &limit, child_watch watch)
{
    watched_errors errors;
    for (clock::duration look = first_look;; look = std::min(2 * look, rarest_look)) {
        const int ready = errors.poll(descriptors, limit.at_most(look));
        if (ready > 0 && any_is_invalid(descriptors)) {
            errno = EBADF;
            return waited::failed;
        }
        if (ready > 0)
            return waited::ready;
        if (ready < 0 && errno != EINTR)
            return waited::failed;
        if (limit.reached())
            return waited::expired;
        errors.look();
        if (watch == child_watch::on && current.child_has_ended())
            return after_the_child(descriptors);
    }
}

waited wait_for_data(int descriptor, bool retry, const time_limit &limit, child_watch watch)
{
    pollfd data{descriptor, POLLIN, 0};
    if (descriptor < 0) {
        errno = EBADF;
        return waited::failed;
    }
    waited result = wait_for({&data, 1}, limit.or_in(moment), watch);
    for (int k = 1; retry && k <= retries && result == waited::expired && !limit.reached(); ++k)
        result = wait_for({&data, 1}, limit.or_in(std::chrono::seconds(k)), watch);
    return result;
}

bool has_data(int descriptor)
{
    pollfd data{descriptor, POLLIN, 0};
    return poll(&data, 1, 0) > 0;
}

} // namespace kiv::interact
