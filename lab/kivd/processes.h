// Processes that the daemon follows: it learns at once when one of them ends.
#ifndef LAB_KIVD_PROCESSES_H
#define LAB_KIVD_PROCESSES_H

#include <map>
#include <optional>

#include "support/unique_fd.h"
#include "tables.h"

namespace kivd {

class processes {
public:
    // Returns 0 or an errno value.
    int open();

    // Readable when a followed process has ended.
    int descriptor() const { return watch_.get(); }

    // The process with this number, from now on followed; none where there is none, with errno.
    std::optional<process> follow(int32_t pid);

    // The same, unless its number is that of another process by now.
    bool follow(const process &expected);

    // One that has ended, not followed any more; none where there is none.
    std::optional<process> take_ended();

private:
    struct followed {
        kiv::support::unique_fd descriptor;
        process which;
    };

    kiv::support::unique_fd watch_;
    uint32_t boot_ = 0;
    std::map<int32_t, followed> by_pid_;
};

} // namespace kivd

#endif
