#include <cerrno>
#include <exception>
#include <memory>

#include <kiv/platform/ovra.h>

#include "ovra/queue_table.h"

namespace {

using namespace kiv::transport;

constexpr uint32_t permissions = 0777;

// Runs what returns 0 or an errno value as a function of the interface.
template <class Work>
int result_of(Work work)
{
    int error = ENOMEM;
    try {
        error = work();
    } catch (const std::exception &) { // there was no memory
    }
    if (error == 0)
        return 0;
    errno = error;
    return -1;
}

template <class Work>
int with_queue(int number, Work work)
{
    return result_of([&] {
        queue *const found = queue_table::find(number);
        return found == nullptr ? EBADF : work(*found);
    });
}

bool is_valid(const ovra_send_options &options)
{
    return options.version == OVRA_OPTIONS_VERSION && options.priority == 0;
}

bool is_valid(const ovra_recv_options &options)
{
    return options.version == OVRA_OPTIONS_VERSION && (options.flags & ~OVRA_RECV_NO_WAIT) == 0;
}

deadline deadline_of(const ovra_recv_options &options)
{
    if ((options.flags & OVRA_RECV_NO_WAIT) != 0)
        return deadline::at_once();
    return options.wait == 0 ? deadline::never() : deadline::after(options.wait);
}

const block_prefix *prefix_of(const ovra_message *message)
{
    return static_cast<const block_prefix *>(message->block);
}

} // namespace

int ovra_open(uint64_t address, uint32_t mode) noexcept
{
    int number = -1;
    const int result = result_of([&] {
        if ((mode & ~permissions) != 0)
            return EINVAL;
        auto opened = std::make_unique<queue>();
        const int error = opened->open(address, mode);
        if (error == 0)
            number = queue_table::add(std::move(opened));
        return error;
    });
    return result == 0 ? number : -1;
}

int ovra_close(int queue) noexcept
{
    return result_of([queue] { return queue_table::take(queue) == nullptr ? EBADF : 0; });
}

int ovra_send(int queue, uint64_t address, uint32_t opcode, const void *payload, uint32_t length,
              ovra_message *sent, uint32_t flags, const ovra_send_options *options) noexcept
{
    if (sent != nullptr)
        *sent = {};
    return with_queue(queue, [&](auto &found) {
        if (flags != 0 || (options != nullptr && !is_valid(*options)))
            return EINVAL;
        outgoing_frame frame;
        if (const int error = frame.set({.opcode = opcode, .payload = payload, .length = length});
            error != 0)
            return error;
        const uint32_t wait =
            options == nullptr || options->wait == 0 ? OVRA_SEND_WAIT : options->wait;
        deadline until = deadline::after(wait);
        return found.send(address, frame, sent, until);
    });
}

int ovra_answer(int queue, const ovra_message *request, uint32_t opcode, int32_t status,
                const void *payload, uint32_t length) noexcept
{
    return with_queue(queue, [&](auto &found) {
        const block_prefix *received = prefix_of(request);
        if (received == nullptr || (received->header.is_answer != 0 && request->token != 0))
            return EINVAL;
        outgoing_frame frame;
        const int error =
            frame.set({.opcode = opcode, .mode = status, .payload = payload, .length = length});
        return error != 0 ? error : found.answer(*request, frame);
    });
}

int ovra_recv(int queue, ovra_message *message, ovra_peer *peer,
              const ovra_recv_options *options) noexcept
{
    static constexpr ovra_recv_options any{OVRA_OPTIONS_VERSION, 0, 0, 0, {}};
    *message = {};
    return with_queue(queue, [&](auto &found) {
        const ovra_recv_options &wanted = options == nullptr ? any : *options;
        if (!is_valid(wanted) || (peer != nullptr && peer->version != OVRA_OPTIONS_VERSION))
            return EINVAL;
        block received;
        deadline until = deadline_of(wanted);
        const int error = found.receive(wanted.token, received, until);
        if (error != 0)
            return error;
        if (peer != nullptr)
            received.tell_peer(*peer);
        received.move_to(*message);
        return 0;
    });
}

void ovra_drop(ovra_message *message) noexcept
{
    block::drop(*message);
}

uint32_t ovra_opc_get(const ovra_message *message) noexcept
{
    return message->opcode;
}

uint32_t ovra_rr_token_get(const ovra_message *message) noexcept
{
    return message->token;
}

void *ovra_payload_get(const ovra_message *message) noexcept
{
    const block_prefix *received = prefix_of(message);
    return received == nullptr ? nullptr : received->payload;
}

uint32_t ovra_payload_size(const ovra_message *message) noexcept
{
    const block_prefix *received = prefix_of(message);
    return received == nullptr ? 0 : received->header.payload_length;
}

int32_t ovra_mode_get(const ovra_message *message) noexcept
{
    const block_prefix *received = prefix_of(message);
    return received == nullptr || received->header.is_answer != 0 ? 0 : received->header.mode;
}

int32_t ovra_status_get(const ovra_message *message) noexcept
{
    const block_prefix *received = prefix_of(message);
    return received == nullptr || received->header.is_answer == 0 ? 0 : received->header.mode;
}

const char *ovra_text_get(const ovra_message *message, int which) noexcept
{
    const block_prefix *received = prefix_of(message);
    if (received == nullptr || which < 0 || which > 1)
        return "";
    const size_t text = static_cast<size_t>(which);
    if (received->header.text_length[text] == 0)
        return "";
    return reinterpret_cast<const char *>(received + 1) + offset_of(received->header, text);
}

int32_t ovra_options_get(int queue, uint32_t opcode) noexcept
{
    int32_t options = 0;
    const int result = with_queue(queue, [&](auto &found) {
        const auto kept = found.options.find(opcode);
        options = kept == found.options.end() ? 0 : kept->second;
        return 0;
    });
    return result == 0 ? options : -1;
}

int ovra_options_set(int queue, uint32_t opcode, int32_t options) noexcept
{
    return with_queue(queue, [&](auto &found) {
        found.options[opcode] = static_cast<uint16_t>(options);
        return 0;
    });
}
