#ifndef LAB_MODULE_DAEMON_WATCH_H
#define LAB_MODULE_DAEMON_WATCH_H

#include "support/unique_fd.h"

namespace kiv::module {

// Tells when a daemon has begun to serve: its socket appears under its name when it listens.
class daemon_watch {
public:
    // The folder of the sockets must be there. Returns 0 or an errno value.
    int open();

    // Readable while there may be something to take.
    int descriptor() const { return events_.get(); }

    // Whether a daemon has begun to serve since the last call.
    bool take();

private:
    support::unique_fd events_;
};

} // namespace kiv::module

#endif
