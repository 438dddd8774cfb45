#include "ovra/block.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include "ovra/landing.h"

namespace kiv::transport {

namespace {

constexpr uint32_t most_rooms = 16;

std::atomic<block_prefix *> kept_room;
std::atomic<uint32_t> rooms;

} // namespace

block block::room()
{
    block made;
    made.memory_.reset(kept_room.exchange(nullptr));
    if (!made)
        made.memory_ = allocate(max_body, true);
    return made;
}

block block::copy(size_t body_size) const
{
    block copied;
    copied.memory_ = allocate(body_size, false);
    if (copied)
        std::memcpy(&copied.memory_->header, &memory_->header, sizeof(frame_header) + body_size);
    return copied;
}

block::memory block::allocate(size_t body_size, bool is_room)
{
    void *start = std::malloc(sizeof(block_prefix) + body_size + alignment);
    if (start == nullptr)
        return nullptr;
    memory made(new (start) block_prefix);
    made->is_room = is_room;
    rooms += is_room ? 1 : 0;
    return made;
}

void block::release::operator()(block_prefix *memory) const
{
    if (memory->is_room)
        memory = kept_room.exchange(memory);
    if (memory != nullptr && memory->is_room)
        --rooms;
    std::free(memory);
}

bool block::may_lend_room()
{
    return rooms <= most_rooms;
}

bool block::answers(uint32_t token) const
{
    return is_answer_to(header(), token);
}

void block::move_to(ovra_message &message)
{
    message.connection = memory_->connection;
    message.token = header().token;
    message.opcode = header().opcode;
    message.reserved = 0;
    message.block = memory_.release();
}

void block::drop(ovra_message &message)
{
    const memory released(static_cast<block_prefix *>(message.block));
    message = {};
}

void block::tell_peer(ovra_peer &peer) const
{
    peer.pid = static_cast<uint32_t>(memory_->peer.pid);
    peer.uid = memory_->peer.uid;
    peer.gid = memory_->peer.gid;
    peer.client = header().client;
    peer.connection = memory_->connection;
}

} // namespace kiv::transport
