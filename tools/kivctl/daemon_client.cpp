#include "daemon_client.h"

#include <cstring>

#include <kiv/platform/cmi.h>
#include <kiv/platform/syserr.h>

#include "report.h"

namespace kivctl {

namespace {

std::string reason_of(int64_t result)
{
    const auto code = static_cast<uint32_t>(result);
    const bool is_transport = (code & KIV_ERROR_TRANSPORT) == KIV_ERROR_TRANSPORT;
    const int error = result == -1   ? errno
                      : is_transport ? static_cast<int>(code & KIV_ERROR_TRANSPORT_ERRNO_MASK)
                                     : 0;
    if (error == EPIPE)
        return "the daemon is not there";
    if (error == ETIME)
        return "the daemon did not answer in time";
    return error != 0 ? std::strerror(error) : hexadecimal(code) + ": " + syserr2str(code);
}

} // namespace

int fail_request(std::string_view subject, int64_t result)
{
    return fail(subject, reason_of(result));
}

int send_request(uint32_t opcode, const void *payload, uint32_t size, owned<void> &reply,
                 uint32_t &reply_size)
{
    void *received = nullptr;
    reply_size = size;
    const int result =
        cmi_req_resp(opcode, size == 0 ? CMI_MODE_QUERY : CMI_MODE_CHANGE, payload, &received,
                     &reply_size, "", "", daemon_service, no_client, daemon_wait);
    reply.reset(received);
    return result;
}

merge_outcome send_merge()
{
    constexpr uint32_t opcode = 937;
    owned<void> reply;
    merge_outcome made{};
    uint32_t size = 0;
    made.result = send_request(opcode, nullptr, 0, reply, size);
    if (made.result == 0 && size != sizeof made.word) {
        made.result = -1;
        errno = EPROTO;
    }
    if (made.result == 0)
        std::memcpy(&made.word, reply.get(), sizeof made.word);
    return made;
}

} // namespace kivctl
