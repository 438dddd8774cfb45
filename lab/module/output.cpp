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

bool kept_outputs::is_full_for(uint32_t user) const
{
    size_t all = 0;
    size_t of_user = 0;
    for (const place &each : places_) {
        all += each.kept.size();
        of_user += each.user == user ? each.kept.size() : 0;
    }
    return all >= most_.bytes || of_user >= most_.bytes_of_user || places_.size() >= most_.places;
}

bool kept_outputs::make_room(uint32_t user)
{
    const clock::time_point now = clock::now();
    std::erase_if(places_,
                  [&](const place &each) { return now - each.asked > most_.longest_pause; });
    while (is_full_for(user)) {
        const auto idle = std::ranges::min_element(places_, {}, [&](const place &each) {
            return each.user == user ? each.asked : clock::time_point::max();
        });
        if (idle == places_.end() || idle->user != user || now - idle->asked < most_.pause)
            return false;
        places_.erase(idle);
    }
    return true;
}

void kept_outputs::keep(uint32_t connection, uint32_t user, output kept) noexcept
{
    if (make_room(user))
        places_.push_back({connection, user, clock::now(), std::move(kept)});
}

void kept_outputs::drop(uint32_t connection)
{
    std::erase_if(places_, [&](const place &each) { return each.connection == connection; });
}

} // namespace kiv::module
