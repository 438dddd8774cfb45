#ifndef LAB_MODULE_SERVICE_H
#define LAB_MODULE_SERVICE_H

#include <array>
#include <string_view>
#include <vector>

#include <poll.h>

#include <kiv/module.h>

#include "daemon_watch.h"
#include "output.h"
#include "registration.h"
#include "request.h"
#include "sender.h"
#include "support/unique_fd.h"

namespace kiv::module {

// A module at its service access point.
class service {
public:
    explicit service(const kiv_module_description &of) : of_(of), registration_(of_) {}
    ~service();
    service(const service &) = delete;
    service &operator=(const service &) = delete;

    // Return 0 or an errno value.
    int open();
    int serve();

    // What serve() looks after, for poll (POSIX); and serving what of it is ready, a message at
    // most.
    using sources = std::array<pollfd, 3>;
    sources waited_for() const;
    int serve(const sources &ready);

    int descriptor() const { return events_.get(); }
    void withdraw() { registration_.withdraw(queue_); }

private:
    int watch(int descriptor) const;
    void follow_daemon();
    void follow_again(time_t seconds);
    void take(const ovra_message &message, const ovra_peer &sender);
    void answer_request(const ovra_message &message, const ovra_peer &sender);
    void run(const ovra_message &message, const ovra_peer &sender);
    const kiv_module_command *find_command(std::string_view function) const;
    void answer(const ovra_message &message, const ovra_peer &sender, output printed);
    void answer_rest(const ovra_message &message, uint32_t connection);
    void refuse(const ovra_message &message, uint32_t status, std::string_view text);
    int send(const ovra_message &message, uint32_t status, int32_t result, std::string_view text);

    const kiv_module_description of_;
    int queue_ = -1;
    daemon_watch daemon_;
    support::unique_fd retry_; // a timer: registering has failed in a way that may pass
    support::unique_fd events_;
    registration registration_;
    senders senders_;
    request request_;
    kept_outputs kept_;
    std::vector<char> piece_;
};

} // namespace kiv::module

#endif
