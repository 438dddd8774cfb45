// The loop: messages, processes that end, signals.
#ifndef LAB_KIVD_SERVER_H
#define LAB_KIVD_SERVER_H

#include <array>
#include <string>

#include "daemon.h"
#include "support/unique_fd.h"

namespace kivd {

// A queue of the transport that is closed at the end.
class queue {
public:
    queue() = default;
    ~queue();
    queue(const queue &) = delete;
    queue &operator=(const queue &) = delete;

    // Returns 0 or an errno value.
    int open(uint64_t address);
    int number() const { return number_; }

private:
    int number_ = -1;
};

class server {
public:
    server(daemon &served, log_writer &out) : daemon_(served), log_(out) {}

    // Takes the addresses, and the signals SIGTERM, SIGINT and SIGHUP. Returns 0 or an errno value,
    // with the reason in the log.
    int open();

    // Has the daemon told of the processes that end, once it knows them. Result as above.
    int follow_processes();

    // Serves until SIGTERM or SIGINT. Returns 0 or an errno value.
    int run();

private:
    struct point {
        access_point where;
        uint64_t address;
        const char *name;
    };
    static const std::array<point, 3> points;

    int watch(int descriptor, uint64_t tag);
    void serve_one(size_t index);
    bool take_signal();

    daemon &daemon_;
    log_writer &log_;
    std::array<queue, 3> queues_;
    kiv::support::unique_fd signals_;
    kiv::support::unique_fd events_;
};

} // namespace kivd

#endif
