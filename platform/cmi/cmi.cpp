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

// Handlers of exit may ask when the client of their thread is gone already.
thread_local client *kept_client;
thread_local bool has_ended;

struct client_of_thread {
    client_of_thread() { kept_client = &kept; }
    client_of_thread(const client_of_thread &) = delete;
    client_of_thread &operator=(const client_of_thread &) = delete;
    ~client_of_thread()
    {
        kept_client = nullptr;
        has_ended = true;
    }

    client kept;
};

// Runs `use` with the client of this thread, at the thread's end with one for this time.
template <class Use>
int with_client(Use use)
{
    if (!has_ended) {
        static thread_local client_of_thread owner;
    }
    if (kept_client != nullptr)
        return use(*kept_client);
    client passing;
    return use(passing);
}

std::string_view text(const char *given)
{
    return given == nullptr ? std::string_view("") : std::string_view(given);
}

// Takes the payload of the answer only where it is wanted: the memory serves the next one.
int request(uint64_t service, const content &content, int32_t timeout, frame_header &answer,
            void **response)
{
    if (timeout <= 0)
        return EINVAL;
    deadline until = deadline::after(static_cast<uint32_t>(timeout));
    outgoing_frame frame;
    if (const int error = frame.set(content); error != 0)
        return error;
    return with_client([&](client &asking) {
        const int error = asking.exchange(service, frame, until);
        if (error != 0)
            return error;
        answer = asking.answer().header();
        if (response != nullptr)
            *response = asking.answer().take().release();
        return 0;
    });
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
    frame_header answer{};
    int error = EINVAL;
    try {
        if (flags == 0)
            error = ::request(OVRA_ADDRESS(node, service), said, timeout, answer, response);
    } catch (const std::exception &) {
        error = ENOMEM;
    }
    errno = error; // 0 tells a status of -1 from a failure
    if (error != 0)
        return -1;
    *length = answer.payload_length;
    return answer.mode;
}
