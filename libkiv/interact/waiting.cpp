#include "waiting.h"

#include <array>
#include <cerrno>

#include <unistd.h>

#include "session.h"

namespace kiv::interact {

namespace {

using namespace std::chrono_literals;

// Whether the child has ended or its standard error is full does not show in what is waited for, so
// a wait looks around from time to time, less and less often.
constexpr clock::duration first_look = 10ms;
constexpr clock::duration rarest_look = 100ms;

constexpr clock::duration moment = 30ms;
constexpr int retries = 10;

bool is_full(int write_end)
{
    pollfd full{write_end, POLLOUT, 0};
    return poll(&full, 1, 0) == 0;
}

void discard_errors()
{
    std::array<char, size_t{64} << 10> discarded;
    const int errors = kiv_to_kiv_agent_stderr_pipe[0];
    if (read(errors, discarded.data(), discarded.size()) <= 0 && errno != EINTR)
        current.errors_overflowed = false;
}

void look_after_errors()
{
    if (!current.errors_overflowed && current.owns_errors())
        current.errors_overflowed = is_full(kiv_to_kiv_agent_stderr_pipe[1]);
}

// As poll_descriptors; the child's standard error is none of those that are counted.
int poll_and_discard_errors(std::span<pollfd> descriptors, clock::duration at_most)
{
    if (!current.errors_overflowed)
        return poll_descriptors(descriptors, at_most);
    std::array<pollfd, 3> all{};
    const auto end = std::copy(descriptors.begin(), descriptors.end(), all.begin());
    *end = {kiv_to_kiv_agent_stderr_pipe[0], POLLIN, 0};
    int ready = poll_descriptors({all.begin(), end + 1}, at_most);
    if (ready > 0 && end->revents != 0) {
        discard_errors();
        --ready;
    }
    std::copy(all.begin(), end, descriptors.begin());
    return ready;
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
    for (clock::duration look = first_look;; look = std::min(2 * look, rarest_look)) {
        const int ready = poll_and_discard_errors(descriptors, limit.at_most(look));
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
        look_after_errors();
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
