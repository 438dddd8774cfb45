#include "ovra/landing.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>

namespace kiv::transport {

namespace {

// Room to move a payload behind texts to where it is aligned.
constexpr size_t alignment = alignof(std::max_align_t);

// Up to here a copy costs less than to have the kernel fill two places.
constexpr size_t small_body = 2048;

size_t aligned(size_t offset)
{
    return (offset + alignment - 1) / alignment * alignment;
}

char *align_payload(const frame_header &header, char *body)
{
    const size_t sent_at = offset_of(header, 2);
    char *payload = body + aligned(sent_at);
    if (header.payload_length == 0)
        return nullptr;
    if (payload != body + sent_at)
        std::memmove(payload, body + sent_at, header.payload_length);
    return payload;
}

// A record without a byte and the end of the connection look the same to recvmsg.
bool is_at_end(int socket)
{
    pollfd state{.fd = socket, .events = 0, .revents = 0};
    return poll(&state, 1, 0) == 1 && (state.revents & POLLHUP) != 0;
}

} // namespace

int landing::receive(int socket, int flags, incoming &message)
{
    if (const int error = make_room(); error != 0)
        return error;
    const ssize_t size = receive_record(socket, flags, message.header);
    if (size < 0)
        return errno;
    if (size == 0)
        return is_at_end(socket) ? EPIPE : EPROTO;
    const size_t body_size = static_cast<size_t>(size) - sizeof message.header;
    if (static_cast<size_t>(size) < sizeof message.header || !fits(message.header, body_size))
        return EPROTO;
    expected_ = std::max(body_size, expected_ - expected_ / 4);
    fill_block(body_size);
    message.block = std::move(block_);
    capacity_ = 0;
    char *body = message.block.get() + prefix_;
    if (!has_sound_texts(message.header, body))
        return EPROTO;
    message.payload = align_payload(message.header, body);
    return 0;
}

int landing::make_room()
{
    constexpr size_t largest = sizeof(frame_header) + max_body + alignment;
    if (room_ == nullptr)
        room_.reset(static_cast<char *>(std::malloc(prefix_ + largest)));
    if (block_ == nullptr && expected_ > small_body) {
        block_.reset(static_cast<char *>(std::malloc(prefix_ + expected_ + alignment)));
        capacity_ = block_ == nullptr ? 0 : expected_;
    }
    return room_ == nullptr ? ENOMEM : 0;
}

// Gives the size of the record, even where it is more than the largest. There is never room for
// control data, so the kernel closes descriptors that come along.
ssize_t landing::receive_record(int socket, int flags, frame_header &header)
{
    flags |= MSG_TRUNC;
    if (block_ == nullptr) {
        const ssize_t size = recv(socket, room_.get(), sizeof header + max_body, flags);
        std::memcpy(&header, room_.get(), sizeof header);
        return size;
    }
    std::array<iovec, 3> pieces{
        iovec{&header, sizeof header},
        iovec{block_.get() + prefix_, capacity_},
        iovec{room_.get() + sizeof header + capacity_, max_body - capacity_},
    };
    msghdr record{};
    record.msg_iov = pieces.data();
    record.msg_iovlen = pieces.size();
    return recvmsg(socket, &record, flags);
}

// Makes a block that holds the whole body, and not much more.
void landing::fill_block(size_t body_size)
{
    if (body_size <= capacity_ && body_size > capacity_ / 2)
        return;
    const size_t size = prefix_ + body_size + alignment;
    if (void *resized = std::realloc(block_.get(), size)) {
        static_cast<void>(block_.release());
        block_.reset(static_cast<char *>(resized));
        if (body_size > capacity_)
            std::memcpy(block_.get() + prefix_ + capacity_,
                        room_.get() + sizeof(frame_header) + capacity_, body_size - capacity_);
    } else if (body_size > capacity_) {
        give_room_away(body_size);
    }
}

// Without memory for a block, the room becomes one, so that nothing is lost.
void landing::give_room_away(size_t body_size)
{
    char *body = room_.get() + sizeof(frame_header);
    if (capacity_ > 0)
        std::memcpy(body, block_.get() + prefix_, capacity_);
    std::memmove(room_.get() + prefix_, body, body_size);
    block_ = std::move(room_);
}

} // namespace kiv::transport
