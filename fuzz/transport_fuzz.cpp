// Whatever a peer sends, in whatever records: a queue that has been asked and one that has asked
// get sound messages, or a result that is laid down.

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include <sys/socket.h>

#include <kiv/platform/ovra.h>

#include "ovra/queue.h"
#include "require.h"

namespace {

using fuzz::require;

using namespace kiv::transport;

// A byte of the input says how what follows is made into a record.
enum form : uint8_t { raw_bytes, right_header, repeated_payload, forms };

uint32_t word(const std::string &bytes, size_t index)
{
    uint32_t value = 0;
    if (bytes.size() >= (index + 1) * sizeof value)
        std::memcpy(&value, bytes.data() + index * sizeof value, sizeof value);
    return value;
}

// A header that speaks of what is there, but for what the input changes.
std::string with_header(const std::string &bytes, size_t repetitions, uint32_t token)
{
    std::string body;
    for (size_t i = 0; i < repetitions; ++i)
        body += bytes;
    frame_header header{};
    header.magic = OVRA_FRAME_MAGIC;
    header.opcode = word(bytes, 0);
    header.is_answer = bytes.empty() ? 1 : static_cast<uint8_t>(bytes[0]) % 3;
    header.token = bytes.size() > 1 && bytes[1] == 0 ? token : word(bytes, 1) % 4;
    const size_t first = bytes.size() > 2 ? static_cast<uint8_t>(bytes[2]) % 8 : 0;
    const size_t texts = first == 0 ? 0 : first + 1;
    header.text_length = {static_cast<uint16_t>(first), 0};
    header.payload_length = static_cast<uint32_t>(body.size() - texts);
    std::string record(reinterpret_cast<const char *>(&header), sizeof header);
    return record + body;
}

// Sends what the input says, as far as there is room.
void say(int socket, const uint8_t *data, size_t size, uint32_t token)
{
    bool is_taken = true;
    while (size >= 2 && is_taken) {
        const uint8_t how = data[0] % forms;
        const size_t length = std::min<size_t>(data[1], size - 2);
        const std::string bytes(reinterpret_cast<const char *>(data + 2), length);
        const std::string record = how == raw_bytes      ? bytes
                                   : how == right_header ? with_header(bytes, 1, token)
                                                         : with_header(bytes, 600, token);
        is_taken = send(socket, record.data(), record.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
        data += 2 + length;
        size -= 2 + length;
    }
}

int receive(queue &from, uint32_t token)
{
    deadline now = deadline::at_once();
    block received;
    const int error = from.receive(token, received, now);
    if (error != 0) {
        require(error == EAGAIN || error == EPIPE || error == EPROTO || error == ENOBUFS);
        return error;
    }
    ovra_message message;
    received.move_to(message);
    const auto *payload = static_cast<const char *>(ovra_payload_get(&message));
    const uint32_t size = ovra_payload_size(&message);
    require((payload == nullptr) == (size == 0) && size <= OVRA_MAX_PAYLOAD);
    require(reinterpret_cast<uintptr_t>(payload) % alignof(std::max_align_t) == 0);
    std::string all(payload, size); // a sanitizer sees what is not there
    for (const int which : {0, 1, 2})
        all += ovra_text_get(&message, which);
    require(token == 0 || ovra_rr_token_get(&message) == token);
    ovra_drop(&message);
    return 0;
}

// One end of a connection is a peer of a queue; what the input says comes from the other.
class connected_queue {
public:
    explicit connected_queue(bool is_ours)
    {
        int ends[2];
        require(queue_.open(OVRA_ADDRESS_NONE, 0) == 0);
        require(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0);
        auto added = std::make_unique<peer>();
        added->is_ours = is_ours;
        added->address = address;
        require(added->link.take(descriptor::open([&ends] { return ends[0]; })) == 0);
        require(queue_.admit(std::move(added)) == 0);
        other_ = descriptor::open([&ends] { return ends[1]; });
    }

    uint32_t ask()
    {
        outgoing_frame frame;
        ovra_message sent;
        deadline soon = deadline::after(1);
        require(frame.set({}) == 0 && queue_.send(address, frame, &sent, soon) == 0);
        return sent.token;
    }
    int other_end() const { return other_.number(); }
    void hang_up() { other_ = {}; }

    // Until there is nothing more; a queue that has lost its only peer says so.
    void receive_all(uint32_t token)
    {
        if (token != 0)
            receive(queue_, token);
        int error = 0;
        for (int i = 0; i < 1000 && error != EAGAIN; ++i)
            error = receive(queue_, 0);
        require(error == EAGAIN || error == EPIPE);
    }

private:
    static constexpr uint64_t address = OVRA_ADDRESS(OVRA_NODE_LOCAL, 7777);

    queue queue_;
    descriptor other_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const bool is_ours = (*data & 1) != 0;
    const bool hangs_up = (*data & 2) != 0;
    connected_queue tested(is_ours);
    const uint32_t token = is_ours ? tested.ask() : 0;
    say(tested.other_end(), data + 1, size - 1, token);
    if (hangs_up)
        tested.hang_up();
    tested.receive_all(token);
    return 0;
}
