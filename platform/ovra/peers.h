#ifndef OVRA_PEERS_H
#define OVRA_PEERS_H

#include <cstdint>
#include <memory>
#include <unordered_map>

#include "ovra/connection.h"

namespace kiv::transport {

// A connection of a queue.
struct peer {
    uint32_t id = 0;            // of the connection; not 0, and for long no other one has it
    bool is_ours = false;       // made by this queue: requests go there, answers come
    uint64_t address = 0;       // ours: where to
    uint32_t serial = 0;        // ours: part of the tokens of what is sent there
    uint64_t tokens_before = 0; // ours: how many tokens the queue had made
    connection link;
};

// The connections of a queue: those that others have made to it, and its own.
class peers {
public:
    size_t accepted() const { return all_.size() - by_serial_.size(); }
    size_t accepted_of(uid_t user) const;
    bool is_empty() const { return all_.empty(); }

    peer *find(uint32_t id) const;
    peer *at_address(uint64_t address) const;
    // Where a request with this token has gone; null once that connection is no more.
    peer *of_token(uint32_t token) const;

    bool has_serial_left() const;
    // Takes a connection over and gives it its number, and one of ours its serial.
    peer &add(std::unique_ptr<peer> added);

    // Nothing is sent there any more, but what has arrived can be read.
    void retire(const peer &peer);
    void remove(const peer &peer);

    // A token that no request which is sent there had for long; never 0.
    uint32_t new_token(const peer &peer);
    static bool is_token_of(const peer &peer, uint32_t token);

private:
    void number(peer &added);
    uint64_t index_of(uint32_t token) const;

    std::unordered_map<uint32_t, std::unique_ptr<peer>> all_;
    std::unordered_map<uint64_t, peer *> by_address_;
    std::unordered_map<uint32_t, peer *> by_serial_;
    mutable peer *recent_ = nullptr; // found last
    uint32_t last_serial_ = 0;
    uint64_t tokens_ = 0; // that have been made
};

} // namespace kiv::transport

#endif
