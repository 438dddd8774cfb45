#include <cerrno>
#include <cstring>

#include "process_api/kivd_address.h"

// Part of the interface: what the library and its callers fill in by offset.
static_assert(sizeof(ovra_send_options) == 32 && offsetof(ovra_send_options, priority) == 20);
static_assert(sizeof(ovra_recv_options) == 32 && offsetof(ovra_recv_options, wait) == 8);
static_assert(offsetof(ovra_recv_options, token) == 12);
static_assert(offsetof(ovra_peer, version) == 4);

namespace kiv {

namespace {

constexpr uint32_t answer_wait = 10; // seconds

} // namespace

question ask_daemon(int queue, uint32_t opcode, owned_message &answer)
{
    ovra_recv_options options{OVRA_OPTIONS_VERSION, 0, answer_wait, 0, {}};
    {
        owned_message sent;
        if (sent.ask_daemon(queue, opcode) < 0)
            return question::not_sent;
        options.token = ovra_rr_token_get(sent.get());
    }
    return answer.receive(queue, nullptr, &options) < 0 ? question::not_answered
                                                        : question::answered;
}

bool copy_payload(const owned_message &message, void *to, uint32_t size)
{
    if (ovra_payload_size(message.get()) < size) {
        errno = EPROTO;
        return false;
    }
    std::memcpy(to, ovra_payload_get(message.get()), size);
    return true;
}

} // namespace kiv
