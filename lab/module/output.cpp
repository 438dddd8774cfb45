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
    return found == places_.end() ? nullptr : &found->kept;
}

void kept_outputs::keep(uint32_t connection, output kept) noexcept
{
    if (places_.size() == most)
        places_.erase(places_.begin());
    places_.push_back({connection, std::move(kept)});
}

void kept_outputs::drop(uint32_t connection)
{
    std::erase_if(places_, [&](const place &each) { return each.connection == connection; });
}

} // namespace kiv::module
