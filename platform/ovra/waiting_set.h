#ifndef OVRA_WAITING_SET_H
#define OVRA_WAITING_SET_H

#include <array>
#include <cstddef>
#include <cstdint>

#include <sys/epoll.h>

#include "ovra/deadline.h"
#include "ovra/descriptor.h"

namespace kiv::transport {

// What a queue waits for: connections, the listening socket, an alarm, and a bell, which is heard
// as long as it is on. Its own descriptor polls readable while there is any of that.
class waiting_set {
public:
    // What is waited for is known by a number: that of a connection, or one of these.
    static constexpr uint64_t bell = uint64_t{1} << 32;
    static constexpr uint64_t alarm = uint64_t{2} << 32;
    static constexpr uint64_t listener = uint64_t{3} << 32;

    // Functions return 0 or an errno value.
    int open();
    int open_alarm();
    int number() const { return epoll_.number(); }

    int add(int descriptor, uint64_t source);
    void remove(int descriptor);
    // Whether to hear of a descriptor that has been added.
    void listen(int descriptor, uint64_t source, bool is_on);

    void ring(bool is_on);
    void set_alarm();
    void stop_alarm();

    // Waits for one of them, each in turn. It may turn out to have nothing, or to be gone.
    int wait(uint64_t &source, deadline &until);
    // Which it will be, most likely, when one has been the only one for some time.
    bool guess(uint64_t &source);

private:
    int fetch(deadline &until);

    descriptor epoll_;
    descriptor bell_;
    descriptor alarm_;
    bool is_ringing_ = false;

    // What the kernel has told at once, and how much of it has been used.
    std::array<epoll_event, 16> heard_{};
    size_t heard_count_ = 0;
    size_t used_count_ = 0;
    uint64_t lone_ = 0; // what was heard last, when it was all there was
    uint32_t guesses_left_ = 0;
};

} // namespace kiv::transport

#endif
