#include "ovra/backlog.h"

#include <algorithm>
#include <utility>

namespace kiv::transport {

block backlog::take(uint32_t token)
{
    for (size_t i = 0; i < count_; ++i) {
        if (token == 0 || messages_[i].answers(token))
            return remove(i);
    }
    return {};
}

bool backlog::has_room()
{
    for (size_t i = 0; count_ == messages_.size() && i < count_; ++i) {
        if (is_given_up(messages_[i]))
            remove(i);
    }
    return count_ < messages_.size();
}

void backlog::give_up(uint32_t token)
{
    if (std::ranges::find(given_up_, token) != given_up_.end())
        return;
    given_up_[next_given_up_] = token;
    next_given_up_ = (next_given_up_ + 1) % given_up_.size();
}

void backlog::forget(uint32_t token)
{
    take(token);
    std::ranges::replace(given_up_, token, 0U);
}

block backlog::remove(size_t index)
{
    block removed = std::move(messages_[index]);
    const auto at = messages_.begin() + static_cast<std::ptrdiff_t>(index);
    std::move(at + 1, messages_.begin() + static_cast<std::ptrdiff_t>(count_), at);
    --count_;
    return removed;
}

bool backlog::is_given_up(const block &message) const
{
    const auto &header = message.header();
    return header.is_answer != 0 && header.token != 0 &&
           std::ranges::find(given_up_, header.token) != given_up_.end();
}

} // namespace kiv::transport
