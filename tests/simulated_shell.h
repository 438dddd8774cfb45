// A shell at the other end of the session's pipes, in a time that passes only while the library
// waits: what comes when is exact, and minutes cost nothing. Takes the place of the library's
// clock.
#ifndef KIV_TESTS_SIMULATED_SHELL_H
#define KIV_TESTS_SIMULATED_SHELL_H

#include <deque>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <kiv/extras.h>
#include <kiv/kiv_interact_exec.h>

#include "interact/clock.h"

namespace simulated {

using namespace std::chrono_literals;
using kiv::interact::clock;

// What comes so long after what came before, or after the command.
struct burst {
    clock::duration gap;
    std::string text;
};

using reply = std::vector<burst>;

class shell {
public:
    shell()
    {
        for (int *ends : {kiv_agent_to_kiv_pipe, kiv_to_kiv_agent_pipe}) {
            if (pipe2(ends, O_CLOEXEC) != 0)
                ADD_FAILURE() << "no pipe";
            fcntl(ends[1], F_SETPIPE_SZ, 1 << 20);
        }
    }
    shell(const shell &) = delete;
    shell &operator=(const shell &) = delete;
    ~shell()
    {
        for (int *ends : {kiv_agent_to_kiv_pipe, kiv_to_kiv_agent_pipe}) {
            close(std::exchange(ends[0], -1));
            close(std::exchange(ends[1], -1));
        }
    }

    void will_reply(reply next) { replies_.push_back(std::move(next)); }

    // All that the library has sent.
    std::string heard()
    {
        listen();
        return heard_;
    }

    clock::time_point time() const { return time_; }
    clock::duration elapsed() const { return time_ - start_; }
    void start_watch() { start_ = time_; }

    int wait(std::span<pollfd> descriptors, clock::duration at_most)
    {
        const clock::time_point end = time_ + at_most;
        for (;;) {
            listen();
            const int ready = poll(descriptors.data(), descriptors.size(), 0);
            if (ready != 0 || due_.empty() || due_.front().first > end)
                return pass(end, ready);
            say();
        }
    }

private:
    int pass(clock::time_point end, int ready)
    {
        if (ready == 0)
            time_ = std::max(time_, end);
        // Nobody waits for a silent shell for hours.
        if (elapsed() > 2h)
            close(std::exchange(kiv_to_kiv_agent_pipe[1], -1));
        return ready;
    }

    void listen()
    {
        int size = 0;
        while (ioctl(kiv_agent_to_kiv_pipe[0], FIONREAD, &size) == 0 && size > 0) {
            std::string more(static_cast<size_t>(size), '\0');
            more.resize(static_cast<size_t>(
                std::max<ssize_t>(read(kiv_agent_to_kiv_pipe[0], more.data(), more.size()), 0)));
            heard_ += more;
        }
        for (size_t end = 0; (end = heard_.find('\n', taken_)) != std::string::npos;) {
            const bool is_empty = end == taken_;
            taken_ = end + 1;
            if (!is_empty)
                answer();
        }
    }

    void answer()
    {
        if (replies_.empty())
            return;
        clock::time_point at = time_;
        for (burst &next : replies_.front()) {
            at += next.gap;
            due_.emplace_back(at, std::move(next.text));
        }
        replies_.pop_front();
    }

    void say()
    {
        auto [at, text] = std::move(due_.front());
        due_.pop_front();
        time_ = std::max(time_, at);
        EXPECT_EQ(write(kiv_to_kiv_agent_pipe[1], text.data(), text.size()),
                  static_cast<ssize_t>(text.size()));
    }

    clock::time_point time_;
    clock::time_point start_;
    std::deque<reply> replies_;
    std::deque<std::pair<clock::time_point, std::string>> due_;
    std::string heard_;
    size_t taken_ = 0; // of what has been heard, the lines that have been answered
};

inline shell *present;

} // namespace simulated

namespace kiv::interact {

clock::time_point now()
{
    return simulated::present->time();
}

int poll_descriptors(std::span<pollfd> descriptors, clock::duration at_most)
{
    return simulated::present->wait(descriptors, at_most);
}

} // namespace kiv::interact

#endif
