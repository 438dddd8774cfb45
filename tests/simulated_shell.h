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

// What comes so long after what came before, or after the command. No text: the shell is gone.
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
        hears_ = fcntl(kiv_agent_to_kiv_pipe[0], F_DUPFD_CLOEXEC, 0);
        says_ = fcntl(kiv_to_kiv_agent_pipe[1], F_DUPFD_CLOEXEC, 0);
    }
    shell(const shell &) = delete;
    shell &operator=(const shell &) = delete;
    ~shell()
    {
        hang_up();
        close(std::exchange(kiv_agent_to_kiv_pipe[1], -1));
        close(std::exchange(kiv_to_kiv_agent_pipe[0], -1));
    }

    void will_reply(reply next) { replies_.push_back(std::move(next)); }

    // Unasked.
    void will_say(const reply &bursts)
    {
        clock::time_point at = time_;
        for (const burst &next : bursts)
            due_.emplace_back(at += next.gap, next.text);
    }

    // Lets its commands lie in their pipe.
    void stop_listening() { listens_ = false; }

    // The time that it takes to find that something has come.
    void make_looking_slow(clock::duration time) { look_time_ = time; }

    // Closes its ends of the pipes.
    void hang_up()
    {
        for (int *end : {&hears_, &says_, &kiv_agent_to_kiv_pipe[0], &kiv_to_kiv_agent_pipe[1]})
            close(std::exchange(*end, -1));
    }

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
        const clock::time_point end = time_ + std::max(at_most, clock::duration::zero());
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
        time_ = ready == 0 ? std::max(time_, end) : time_ + look_time_;
        // Nobody waits for a silent shell for hours.
        if (elapsed() > 2h)
            hang_up();
        return ready;
    }

    void listen()
    {
        static char piece[1 << 16];
        int size = 0;
        while (listens_ && ioctl(hears_, FIONREAD, &size) == 0 && size > 0)
            heard_.append(piece, static_cast<size_t>(read(hears_, piece, sizeof piece)));
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
        will_say(replies_.front());
        replies_.pop_front();
    }

    void say()
    {
        auto [at, text] = std::move(due_.front());
        due_.pop_front();
        time_ = std::max(time_, at);
        if (text.empty())
            return hang_up();
        EXPECT_EQ(write(says_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    clock::time_point time_;
    clock::time_point start_;
    std::deque<reply> replies_;
    std::deque<std::pair<clock::time_point, std::string>> due_;
    std::string heard_;
    size_t taken_ = 0; // of what has been heard, the lines that have been answered
    bool listens_ = true;
    clock::duration look_time_{};
    int hears_ = -1;
    int says_ = -1;
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
