#ifndef LAB_MODULE_SENDER_H
#define LAB_MODULE_SENDER_H

#include <string>

#include <kiv/kiv_lib.h>
#include <kiv/platform/ovra.h>

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
    // Has the record say who sent the request. A change is refused to whoever does not hold the
    // configuration lock, anything to a user whose rights nobody tells.
    refusal identify(const ovra_peer &sender, bool changes, pinfo &info);

private:
    const std::string &name_of(const ovra_peer &sender);

    // Of the connection that was asked about last.
    uint32_t connection_ = 0;
    std::string name_;
};

} // namespace kiv::module

#endif
