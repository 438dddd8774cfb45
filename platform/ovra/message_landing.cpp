#include "ovra/message_landing.h"

#include <cerrno>

#include <sys/socket.h>

namespace kiv::transport {

namespace {

constexpr size_t small_body = 2048;

} // namespace

int message_landing::receive(int socket, int flags)
{
    if (!room_)
        room_ = block::room();
    if (!room_)
        return ENOMEM;
    frame_header &header = room_.prefix().header;
    static_assert(offsetof(block_prefix, header) + sizeof header == sizeof(block_prefix));
    const ssize_t size =
        recv(socket, static_cast<void *>(&header), sizeof header + max_body, flags | MSG_TRUNC);
    const int error = check_record(socket, size, header);
    return error == 0 && !has_sound_texts(header, room_.body()) ? EPROTO : error;
}

block message_landing::take(const ucred &peer, uint32_t connection)
{
    const frame_header &header = room_.prefix().header;
    const size_t body_size = offset_of(header, 2) + header.payload_length;
    block taken;
    if (body_size <= small_body || !block::may_lend_room())
        taken = room_.copy(body_size);
    if (!taken)
        taken = std::move(room_);
    block_prefix &prefix = taken.prefix();
    prefix.payload = align_payload(prefix.header, taken.body());
    prefix.peer = peer;
    prefix.connection = connection;
    return taken;
}

} // namespace kiv::transport
