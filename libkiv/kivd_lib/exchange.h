// One request to the daemon, and its answer.
#ifndef KIV_KIVD_LIB_EXCHANGE_H
#define KIV_KIVD_LIB_EXCHANGE_H

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "kivd_lib/requests.h"
#include "process_api/kivd_address.h"

namespace kiv {

struct freed_block {
    void operator()(void *block) const { std::free(block); }
};

struct reply {
    std::unique_ptr<void, freed_block> block;
    uint32_t length = 0;

    // For the caller to free.
    template <typename Record>
    void hand_out(Record **to)
    {
        *to = static_cast<Record *>(block.release());
    }
};

// What most requests have in common.
struct request_target {
    uint32_t client;
    uint32_t service = kivd_service;
    const char *text1 = "";
    const char *text2 = "";
};

// Sends the request and waits 10 seconds at most. Returns the result of cmi_req_resp; -1 with errno
// EPROTO, in the place of 0, for an answer that is too short. The reply holds nothing then, nor
// where the result is negative.
int exchange(const request_kind &kind, const request_target &target, const void *request,
             reply &answer);

// The same for requests of which the result is all there is to know.
int exchange(const request_kind &kind, const request_target &target, const void *request);

// The same to the node that holds the configuration.
int exchange_with_active_node(const request_kind &kind, uint32_t client, const void *request);

// Empties the reply and returns -1 with errno EPROTO.
int refuse(reply &answer);

} // namespace kiv

#endif
