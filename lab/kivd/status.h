// What the daemon says of itself: two messages of its own, beside those of the switch.
#ifndef LAB_KIVD_STATUS_H
#define LAB_KIVD_STATUS_H

#include <cstdint>

namespace kivd {

enum own_message : uint32_t {
    message_status = 8000,      // answered by a daemon_status
    message_merge_report = 8001 // answered by lines of text: the trees that were left out
};

struct daemon_status {
    int32_t pid;
    uint32_t tree_number; // of trees that were merged last, with the shell's own
    uint64_t uptime;      // seconds
    uint64_t requests;
    uint64_t refusals; // of changes that the sender may not make
    uint64_t bad_messages;
    uint64_t merges;
    uint64_t notices; // that the configuration has changed
    uint32_t nodes;   // of the tree in force
    uint32_t left_out;
    int32_t lock_session; // while lock_pid is not 0
    int32_t lock_pid;
    uint32_t administrator; // the user who may change everything, as root may
    uint32_t reserved;
};

} // namespace kivd

#endif
