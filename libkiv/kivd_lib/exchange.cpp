#include "kivd_lib/exchange.h"

#include <cerrno>

#include <kiv/platform/cmi.h>

namespace kiv {

namespace {

constexpr int32_t answer_wait = 10; // seconds

// Takes over the block that the platform has stored.
void take(reply &answer, void *block, uint32_t length)
{
    answer.block.reset(block);
    answer.length = block == nullptr ? 0 : length;
}

} // namespace

int exchange(const request_kind &kind, const request_target &target, const void *request,
             reply &answer)
{
    void *block = nullptr;
    uint32_t length = kind.request_size;
    const int result = cmi_req_resp(kind.opcode, kind.mode, request, &block, &length, target.text1,
                                    target.text2, target.service, target.client, answer_wait);
    take(answer, block, length);
    if (result < 0)
        answer = {};
    if (result < 0 || answer.length >= kind.least_reply)
        return result;
    refuse(answer);
    return result == 0 ? -1 : result;
}

int exchange(const request_kind &kind, const request_target &target, const void *request)
{
    reply unread;
    return exchange(kind, target, request, unread);
}

int exchange_with_active_node(const request_kind &kind, uint32_t client, const void *request)
{
    void *block = nullptr;
    uint32_t length = kind.request_size;
    const int result = cmi_remote_req_resp(kind.opcode, kind.mode, request, &block, &length, "", "",
                                           kivd_service, OVRA_NODE_ACTIVE, answer_wait, client, 0);
    reply unread;
    take(unread, block, length);
    return result;
}

int refuse(reply &answer)
{
    answer = {};
    errno = EPROTO;
    return -1;
}

} // namespace kiv
