// The daemon's state, and what each message does to it.
#ifndef LAB_KIVD_DAEMON_H
#define LAB_KIVD_DAEMON_H

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <kiv/platform/ovra.h>

#include "log.h"
#include "permissions.h"
#include "processes.h"
#include "publication.h"
#include "state_file.h"
#include "status.h"
#include "tables.h"

namespace kivd {

// Where a message has come in: the daemon's service access points.
enum class access_point : uint8_t { daemon = 1, platform = 2, active_node = 4 };

struct request {
    access_point where;
    uint32_t opcode;
    std::span<const std::byte> payload;
    ovra_peer sender;
};

struct reply {
    uint32_t opcode;
    uint32_t status = 0;
    std::span<const std::byte> payload{}; // valid until the next message
};

struct message;

class daemon {
public:
    daemon(std::string state_directory, std::string tree_directory, permissions who,
           log_writer &out);

    // Loads what was stored, withdraws what nobody stands for any more, and merges. Returns 0 or an
    // errno value, with the reason in the log.
    int start();

    reply serve(const request &asked);

    // A message that could not be received, or not be answered, for the figures and the log. `pid`
    // is 0 where that is not known.
    void cannot_exchange(const char *what, uint32_t pid, int error);

    // Readable when ended() has something to do.
    int watched() const { return processes_.descriptor(); }
    void ended();

private:
    friend struct handlers;

    struct lock_holder {
        process owner;
        int32_t session;
        uid_t user; // a process may have had another one before, and a connection from then
    };

    bool is_bad(const message *row, const request &asked);
    bool is_refused(const message &row, const request &asked);
    uint32_t commit(const tables &next);
    void merge();
    bool follow_owners();
    void keep(const tables &next);

    state_file file_;
    publication publication_;
    permissions permissions_;
    log_writer &log_;
    processes processes_;
    tables tables_;
    std::optional<lock_holder> lock_;
    daemon_status status_{};
    std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
    std::string text_; // of the last answer that is text
    uint32_t word_ = 0;
    sender_answer sender_{};
    std::vector<std::string> left_out_;
    // The files of the published tree's contributions, as far as they have been registered all the
    // time since.
    std::vector<std::string> published_;
};

} // namespace kivd

#endif
