#include <cerrno>
#include <exception>
#include <map>

#include <kiv/platform/cmi.h>
#include <kiv/platform/ovra.h>

#include "ovra/connection.h"
#include "ovra/payload_landing.h"

namespace {

using namespace kiv::transport;

// The connections of a thread, one for each service that it has asked.
class client {
public:
    // Returns 0 when there is an answer, or an errno value.
    int exchange(uint64_t service, outgoing_frame &frame, deadline &until)
    {
        if (landing_.prepare() != 0)
            return ENOMEM;
        frame.header.token = ++last_token_;
        connection &kept = kept_[service];
        const bool is_kept = kept.is_open();
        int error = is_kept ? kept.send(frame, until) : EPIPE;
        // A connection that fails with this has delivered nothing, so that a new one is tried.
        if (error == EPIPE) {
            kept = {};
            error = kept.connect(service, until);
            if (error == 0)
                error = kept.send(frame, until);
        }
        if (error == 0)
            error = await(kept, frame.header.token, until);
        if (error != 0)
            kept_.erase(service);
        return error;
    }

    payload_landing &answer() { return landing_; }

private:
    int await(connection &service, uint32_t token, deadline &until)
    {
        for (;;) {
            const int error = service.receive(landing_, until);
            if (error != 0)
                return error;
            const frame_header &header = landing_.header();
            if (header.is_answer != 0 && header.token == token)
                return 0;
            if (until.is_over())
                return ETIME;
        }
    }

    std::map<uint64_t, connection> kept_;
    payload_landing landing_;
    uint32_t last_token_ = 0;
};

client &of_this_thread()
{
    thread_local client current;
    return current;
}

std::string_view text(const char *given)
{
    return given == nullptr ? std::string_view("") : std::string_view(given);
}

int request(uint64_t service, const content &content, int32_t timeout)
{
    if (timeout <= 0)
        return EINVAL;
    deadline until = deadline::after(static_cast<uint32_t>(timeout));
    try {
        outgoing_frame frame;
        const int error = frame.set(content);
        return error != 0 ? error : of_this_thread().exchange(service, frame, until);
    } catch (const std::exception &) { // there was no memory
        return ENOMEM;
    }
}

} // namespace

int cmi_req_resp(uint32_t opcode, int32_t mode, const void *request, void **response,
                 uint32_t *length, const char *text1, const char *text2, uint32_t service,
                 uint32_t client, int32_t timeout) noexcept
{
    return cmi_remote_req_resp(opcode, mode, request, response, length, text1, text2, service,
                               OVRA_NODE_LOCAL, timeout, client, 0);
}

int cmi_remote_req_resp(uint32_t opcode, int32_t mode, const void *request, void **response,
                        uint32_t *length, const char *text1, const char *text2, uint32_t service,
                        uint32_t node, int32_t timeout, uint32_t client, uint32_t flags) noexcept
{
    const content said{.opcode = opcode,
                       .mode = mode,
                       .client = client,
                       .payload = request,
                       .length = request == nullptr ? 0 : *length,
                       .texts = {text(text1), text(text2)}};
    *length = 0;
    if (response != nullptr)
        *response = nullptr;
    const int error = flags != 0 ? EINVAL : ::request(OVRA_ADDRESS(node, service), said, timeout);
    if (error != 0) {
        errno = error;
        return -1;
    }
    payload_landing &answer = of_this_thread().answer();
    *length = answer.header().payload_length;
    if (response != nullptr)
        *response = answer.take().release();
    return answer.header().mode;
}
