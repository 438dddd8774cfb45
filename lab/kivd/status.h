// Messages of the daemon's own, beside those of the switch.
#ifndef LAB_KIVD_STATUS_H
#define LAB_KIVD_STATUS_H

#include <cstdint>

#include <kiv/kivd_lib.h>

namespace kivd {

enum own_message : uint32_t {
    message_status = 8000,       // answered by a daemon_status
    message_merge_report = 8001, // answered by lines of text: the trees that were left out
    message_sender = 8002,       // a sender_question, answered by a sender_answer
    message_missing = 8003       // answered by lines of text: the modules that are registered, or
                                 // have been when their processes ended, and whose trees are not
                                 // in the published one
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

// What a process must know of one that has sent it a message, as the kernel tells who that is.
struct sender_question {
    uint32_t user;
    int32_t pid;
    uint32_t changes; // whether it asks for a change of the configuration
    char feature[sizeof kivd_perm_group_conf_entry::feature]; // that it changes; empty: any
};

struct sender_answer {
    uint32_t is_administrator; // root too
    uint32_t may_change;       // the roles of the user permit the change
    uint32_t holds_lock;       // and the process, as this user, has the configuration locked
    uint32_t reserved;
    bmask4096 vsans; // on which the user may act; for a change, by the roles that permit it
};

} // namespace kivd

#endif
