#include "output.h"

#include <algorithm>
#include <utility>

#include <kiv/kiv_exec_lib.h>

namespace kiv::module {

capture::capture()
{
    kiv_set_redir2buf();
}

capture::~capture()
{
    std::free(kiv_get_buf());
    kiv_reset_redir2buf();
}

output capture::take(int32_t result)
{
    output taken(result, kiv_get_buf(), static_cast<size_t>(kiv_get_buf_len()));
    kiv_reset_redir2buf();
    return taken;
}

output *kept_outputs::find(uint32_t connection)
{
    const auto found = std::ranges::find(places_, connection, &place::connection);
    if (found == places_.end())
        return nullptr;
    found->asked = clock::now();
    return &found->kept;
}

void kept_outputs::keep(uint32_t connection, uint32_t user, output kept) noexcept
{
    const clock::time_point now = clock::now();
    std::erase_if(places_, [&](const place &each) { return now - each.asked > longest_pause; });
    if (std::ranges::count(places_, user, &place::user) >= most_of_user)
        places_.erase(std::ranges::find(places_, user, &place::user));
    if (places_.size() < most)
        places_.push_back({connection, user, now, std::move(kept)});
}

void kept_outputs::drop(uint32_t connection)
{
    std::erase_if(places_, [&](const place &each) { return each.connection == connection; });
}

} // namespace kiv::module
