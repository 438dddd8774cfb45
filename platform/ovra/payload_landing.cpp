#include "ovra/payload_landing.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <sys/socket.h>

namespace kiv::transport {

int payload_landing::receive(int socket, int flags)
{
    if (const int error = prepare(); error != 0)
        return error;
    std::array<iovec, 3> pieces{
        iovec{&header_, sizeof header_},
        iovec{block_.get(), capacity_},
        iovec{room_.get() + capacity_, max_body - capacity_},
    };
    msghdr record{};
    record.msg_iov = pieces.data();
    record.msg_iovlen = pieces.size();
    const ssize_t size = recvmsg(socket, &record, flags | MSG_TRUNC);
    if (const int error = check_record(socket, size, header_); error != 0)
        return error;
    const size_t body_size = static_cast<size_t>(size) - sizeof header_;
    expected_ = std::max(body_size, expected_ - expected_ / 4);
    fill_block(body_size);
    return has_sound_texts(header_, block_.get()) ? 0 : EPROTO;
}

heap_bytes payload_landing::take()
{
    capacity_ = 0;
    heap_bytes taken = std::move(block_);
    if (header_.payload_length == 0)
        return nullptr;
    const size_t texts = offset_of(header_, 2);
    if (texts > 0)
        std::memmove(taken.get(), taken.get() + texts, header_.payload_length);
    return taken;
}

int payload_landing::prepare()
{
    if (room_ == nullptr)
        room_.reset(static_cast<char *>(std::malloc(max_body)));
    if (block_ == nullptr && expected_ > 0) {
        block_.reset(static_cast<char *>(std::malloc(expected_)));
        capacity_ = block_ == nullptr ? 0 : expected_;
    }
    return room_ == nullptr ? ENOMEM : 0;
}

// Makes the block hold the whole body, and not much more.
void payload_landing::fill_block(size_t body_size)
{
    constexpr size_t small = 1024;
    if (body_size <= capacity_ && (capacity_ <= small || body_size > capacity_ / 2))
        return;
    void *resized = std::realloc(block_.get(), std::max<size_t>(body_size, 1));
    if (resized != nullptr) {
        static_cast<void>(block_.release());
        block_.reset(static_cast<char *>(resized));
        if (body_size > capacity_)
            std::memcpy(block_.get() + capacity_, room_.get() + capacity_, body_size - capacity_);
        capacity_ = body_size;
    } else if (body_size > capacity_) {
        give_room_away();
    }
}

// Without memory for a block, the room becomes one, so that nothing is lost.
void payload_landing::give_room_away()
{
    if (capacity_ > 0)
        std::memcpy(room_.get(), block_.get(), capacity_);
    block_ = std::move(room_);
    capacity_ = max_body;
}

} // namespace kiv::transport
