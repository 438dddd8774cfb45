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
    return found == by_serial_.end() ? nullptr : found->second;
}

bool peers::has_serial_left() const
{
    return by_serial_.size() < serials;
}

void peers::number(peer &added)
{
    added.id = ++last_id;
    if (!added.is_ours)
        return;
    do
        last_serial_ = (last_serial_ + 1) % serials;
    while (by_serial_.contains(last_serial_));
    added.serial = last_serial_;
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
    last_token_ = std::max((last_token_ + 1) % counts, 1U);
    return peer.serial * counts + last_token_;
}

bool peers::is_token_of(const peer &peer, uint32_t token)
{
    return token / counts == peer.serial;
}

} // namespace kiv::transport
