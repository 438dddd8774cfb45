#include "ovra/peers.h"

#include <algorithm>
#include <atomic>

#include <kiv/platform/ovra.h>

namespace kiv::transport {

namespace {

// A token is the serial of the connection and a count.
constexpr uint32_t serials = OVRA_MAX_CONNECTIONS;
constexpr uint32_t counts = UINT32_MAX / serials + 1;
static_assert(serials * static_cast<uint64_t>(counts) == uint64_t{1} << 32);
constexpr uint32_t different_counts = counts - 1; // no 0, so that no token is 0

std::atomic<uint32_t> last_id;

} // namespace

peer *peers::find(uint32_t id) const
{
    if (recent_ == nullptr || recent_->id != id) {
        const auto found = all_.find(id);
        recent_ = found == all_.end() ? nullptr : found->second.get();
    }
    return recent_;
}

peer *peers::at_address(uint64_t address) const
{
    const auto found = by_address_.find(address);
    return found == by_address_.end() ? nullptr : found->second;
}

peer *peers::of_token(uint32_t token) const
{
    const auto found = by_serial_.find(token / counts);
    if (found == by_serial_.end())
        return nullptr;
    // An earlier connection may have had the same serial.
    return index_of(token) > found->second->tokens_before ? found->second : nullptr;
}

// Which one of all tokens it is, from 1; 0 when it has not been made. Only the last ones with
// different counts can be told from each other.
uint64_t peers::index_of(uint32_t token) const
{
    const uint32_t count = token % counts;
    if (count == 0)
        return 0;
    const uint64_t last = tokens_ % different_counts;
    const uint64_t age = (last + different_counts - count % different_counts) % different_counts;
    return age < tokens_ ? tokens_ - age : 0;
}

size_t peers::accepted_of(uid_t user) const
{
    return static_cast<size_t>(std::ranges::count_if(all_, [user](const auto &entry) {
        return !entry.second->is_ours && entry.second->link.peer().uid == user;
    }));
}

bool peers::has_serial_left() const
{
    return by_serial_.size() < serials;
}

void peers::number(peer &added)
{
    do
        added.id = ++last_id;
    while (added.id == 0 || all_.contains(added.id));
    if (!added.is_ours)
        return;
    do
        last_serial_ = (last_serial_ + 1) % serials;
    while (by_serial_.contains(last_serial_));
    added.serial = last_serial_;
    added.tokens_before = tokens_;
    by_serial_.emplace(added.serial, &added);
    by_address_.emplace(added.address, &added);
}

peer &peers::add(std::unique_ptr<peer> added)
{
    peer *const kept = added.get();
    try {
        number(*kept);
        all_.emplace(kept->id, std::move(added));
    } catch (...) {
        const auto is_kept = [kept](const auto &entry) { return entry.second == kept; };
        std::erase_if(by_serial_, is_kept);
        std::erase_if(by_address_, is_kept);
        throw;
    }
    return *kept;
}

void peers::retire(const peer &peer)
{
    const auto found = by_address_.find(peer.address);
    if (found != by_address_.end() && found->second == &peer)
        by_address_.erase(found);
}

void peers::remove(const peer &peer)
{
    retire(peer);
    if (peer.is_ours)
        by_serial_.erase(peer.serial);
    recent_ = nullptr;
    all_.erase(peer.id);
}

uint32_t peers::new_token(const peer &peer)
{
    const auto last = static_cast<uint32_t>(tokens_++ % different_counts);
    return peer.serial * counts + last + 1;
}

bool peers::is_token_of(const peer &peer, uint32_t token)
{
    return token / counts == peer.serial;
}

} // namespace kiv::transport
