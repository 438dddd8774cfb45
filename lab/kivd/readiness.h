// Telling whoever started the daemon that it serves.
#ifndef LAB_KIVD_READINESS_H
#define LAB_KIVD_READINESS_H

#include <string>

#include "support/unique_fd.h"

namespace kivd {

// Sends "READY=1" to the socket that the environment variable NOTIFY_SOCKET names, as sd_notify(3)
// does; nothing without one.
void notify_ready();

// The way into the background.
class background {
public:
    // Splits off the daemon. In the process that was started it does not return: it ends with
    // status 0 once the daemon serves, or 1 where the daemon ends before. Returns 0 or an errno
    // value.
    int enter();

    // The daemon serves: lets go of the terminal and of who started it.
    void done();

private:
    kiv::support::unique_fd to_starter_;
};

} // namespace kivd

#endif
