// Replies that end with their marker. The shell writes so that only the end of an answer ends with
// a marker, and the pipe takes each of its writes as a whole; so where the pipe has been emptied,
// one of its writes ends, and it was the last one if it ended with a marker.

#include <algorithm>
#include <cstring>

#include "exchange.h"

namespace kiv::interact {

fault exchange::until_marker()
{
    fault failed = fault::none;
    while (failed == fault::none && !ended_ && sent_ <= command_.size())
        failed = exchange_line();
    return failed;
}

fault exchange::exchange_line()
{
    const sent_text line = next_line();
    tail_ = {};
    if (const fault failed = send(line); failed != fault::none)
        return failed;
    if (line.text.find_first_not_of('\n') == std::string_view::npos)
        return fault::none;
    while (!is_answered()) {
        if (const fault failed = receive(); failed != fault::none || ended_)
            return failed;
    }
    return fault::none;
}

// A line with the empty ones around it.
sent_text exchange::next_line()
{
    const std::string_view rest = command_.substr(sent_);
    const size_t end = rest.find('\n', std::min(rest.find_first_not_of('\n'), rest.size()));
    const size_t next = rest.find_first_not_of('\n', std::min(end, rest.size()));
    if (next == std::string_view::npos) {
        sent_ = command_.size() + 1;
        return {rest, true};
    }
    sent_ += next;
    return {rest.substr(0, next), false};
}

bool exchange::is_answered() const
{
    const std::string_view tail(tail_.data(), tail_.size());
    return std::ranges::any_of(markers, [&](auto marker) { return tail.ends_with(marker); }) &&
           (received_ < KIV_INTERACT_BUFFER_SIZE || !has_data(kiv_to_kiv_agent_pipe[0]));
}

void exchange::remember_tail()
{
    const size_t size = std::min(static_cast<size_t>(received_), tail_.size());
    std::memmove(tail_.data(), tail_.data() + size, tail_.size() - size);
    std::memcpy(tail_.data() + tail_.size() - size, buffer + received_ - size, size);
}

} // namespace kiv::interact
