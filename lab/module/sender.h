#ifndef LAB_MODULE_SENDER_H
#define LAB_MODULE_SENDER_H

#include <chrono>
#include <optional>
#include <string>

#include <kiv/module.h>
#include <kiv/platform/ovra.h>

#include "lab/kivd/status.h"

namespace kiv::module {

// Why a request is not run: a library error code, 0 for none, and the reason for the user.
struct refusal {
    uint32_t status = 0;
    std::string text;
};

// Whoever has sent a request: the user as the kernel knows it, and that user's rights as the daemon
// does.
class senders {
public:
    // Has the record say who sent the request. A change is refused to whoever has no role that
    // permits it or does not hold the configuration lock, anything to a user whose rights nobody
    // tells.
    refusal identify(const ovra_peer &sender, const kiv_module_command &wanted, pinfo &info);

private:
    const std::string &name_of(const ovra_peer &sender);
    std::optional<kivd::sender_answer> ask(const ovra_peer &sender,
                                           const kiv_module_command &wanted);

    // Until when a daemon that did not answer in time is not asked.
    std::chrono::steady_clock::time_point ask_again_{};

    // Of the connection that was asked about last.
    uint32_t connection_ = 0;
    std::string name_;
};

} // namespace kiv::module

#endif
