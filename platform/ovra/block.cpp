#include "ovra/block.h"

#include <new>

namespace kiv::transport {

block::block(incoming message, const ucred &peer, uint32_t connection)
    : memory_(std::move(message.block))
{
    new (memory_.get()) block_prefix{message.header, message.payload, peer, connection};
}

bool block::answers(uint32_t token) const
{
    return is_answer_to(header(), token);
}

void block::move_to(ovra_message &message)
{
    message.connection = prefix_of(memory_.get()).connection;
    message.token = header().token;
    message.opcode = header().opcode;
    message.reserved = 0;
    message.block = memory_.release();
}

void block::tell_peer(ovra_peer &peer) const
{
    const block_prefix &prefix = prefix_of(memory_.get());
    peer.pid = static_cast<uint32_t>(prefix.peer.pid);
    peer.uid = prefix.peer.uid;
    peer.gid = prefix.peer.gid;
    peer.client = prefix.header.client;
    peer.connection = prefix.connection;
}

} // namespace kiv::transport
