// Requests to the daemon, and what their results mean to people.
#ifndef KIVCTL_DAEMON_CLIENT_H
#define KIVCTL_DAEMON_CLIENT_H

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include <kiv/platform/ovra.h>

namespace kivctl {

// kivctl has no address of its own.
constexpr uint32_t no_client = 0;
constexpr uint32_t daemon_service = 37;
constexpr int32_t daemon_wait = 10; // seconds

struct freed {
    void operator()(void *block) const { std::free(block); }
};

template <class Record>
using owned = std::unique_ptr<Record, freed>;

// Says why a request failed: its result is -1, with errno, or a library error code. Returns the
// exit status.
int fail_request(std::string_view subject, int64_t result);

// Sends a request of kivctl's own to the daemon. Returns its result.
int send_request(uint32_t opcode, const void *payload, uint32_t size, owned<void> &reply,
                 uint32_t &reply_size);

// Has the daemon merge the trees. `result` is that of the request; without an error `word` says
// what came of the merge, in the daemon's word.
struct merge_outcome {
    int64_t result;
    uint32_t word;
};
merge_outcome send_merge();

// A message queue without an address, closed at the end.
class message_queue {
public:
    message_queue() : number_(ovra_open(OVRA_ADDRESS_NONE, 0)) {}
    ~message_queue()
    {
        if (number_ >= 0)
            ovra_close(number_);
    }
    message_queue(const message_queue &) = delete;
    message_queue &operator=(const message_queue &) = delete;

    // -1 where it could not be opened, with errno.
    int number() const { return number_; }

private:
    int number_;
};

} // namespace kivctl

#endif
