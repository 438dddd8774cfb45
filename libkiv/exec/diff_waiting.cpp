#include "exec/diff_waiting.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include <sys/random.h>

namespace kiv::diff {

namespace {

template <typename Word>
uint64_t load(const char *from)
{
    Word word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

// Both halves of the product.
uint64_t mix(uint64_t a, uint64_t b)
{
    __extension__ using wide = unsigned __int128;
    const wide product = static_cast<wide>(a) * b;
    return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

struct word_pair {
    uint64_t first;
    uint64_t second;
};

// All of a text of at most 16 bytes; the words may overlap.
word_pair load_short(std::string_view text)
{
    const char *begin = text.data();
    const char *end = begin + text.size();
    if (text.size() >= 8)
        return {load<uint64_t>(begin), load<uint64_t>(end - 8)};
    if (text.size() >= 4)
        return {load<uint32_t>(begin), load<uint32_t>(end - 4)};
    if (text.empty())
        return {0, 0};
    return {load<uint8_t>(begin) << 16 | load<uint8_t>(begin + text.size() / 2) << 8 |
                load<uint8_t>(end - 1),
            0};
}

constexpr size_t smallest_table = 64;

} // namespace

text_hash::text_hash()
{
    if (getrandom(&seeds_, sizeof seeds_, GRND_NONBLOCK) == sizeof seeds_)
        return;
    const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    const auto place = reinterpret_cast<uintptr_t>(this);
    seeds_.first = mix(static_cast<uint64_t>(ticks) ^ 0x9E3779B97F4A7C15U, 0xD6E8FEB86659FD93U);
    seeds_.second = mix(place ^ 0xC2B2AE3D27D4EB4FU, seeds_.first | 1);
    seeds_.third = mix(seeds_.first ^ seeds_.second, 0xA0761D6478BD642FU);
}

uint64_t text_hash::operator()(std::string_view text) const
{
    const size_t size = text.size();
    uint64_t state = seeds_.first;
    for (; text.size() > 16; text.remove_prefix(16)) {
        state = mix(load<uint64_t>(text.data()) ^ seeds_.second,
                    load<uint64_t>(text.data() + 8) ^ state);
    }
    const word_pair rest = load_short(text);
    return mix(mix(rest.first ^ seeds_.second, rest.second ^ state), size ^ seeds_.third);
}

void waiting_table::clear()
{
    used_ = 0;
    if (++generation_ != 0)
        return;
    std::ranges::fill(queues_, queue{});
    generation_ = 1;
}

// The place of the queue with this text, or the free one where it would be.
size_t waiting_table::find(uint64_t hash, std::string_view text,
                           const std::vector<entry> &entries) const
{
    const size_t mask = queues_.size() - 1;
    for (size_t place = hash & mask;; place = (place + 1) & mask) {
        const queue &found = queues_[place];
        if (found.generation != generation_ ||
            (found.hash == hash && entries[found.last].lines.text() == text))
            return place;
    }
}

bool waiting_table::has(std::string_view text, const std::vector<entry> &entries) const
{
    if (used_ == 0)
        return false;
    const queue &found = queues_[find(hash_(text), text, entries)];
    return found.generation == generation_ && found.first != no_entry;
}

void waiting_table::settle(entry_index index, std::vector<entry> &entries)
{
    queue &found = open(index, entries);
    entry &newcomer = entries[index];
    if (found.first == no_entry) {
        found.first = found.last = index;
    } else if (entries[found.first].of == newcomer.of) {
        entries[found.last].next = index;
        found.last = index;
    } else {
        newcomer.partner = found.first;
        entries[found.first].partner = index;
        found.first = entries[found.first].next;
    }
}

waiting_table::queue &waiting_table::open(entry_index index, const std::vector<entry> &entries)
{
    if (2 * used_ >= queues_.size())
        grow();
    const std::string_view text = entries[index].lines.text();
    const uint64_t hash = hash_(text);
    queue &found = queues_[find(hash, text, entries)];
    if (found.generation != generation_) {
        found = {hash, generation_, no_entry, index};
        ++used_;
    }
    return found;
}

void waiting_table::grow()
{
    std::vector<queue> larger(std::max(smallest_table, 2 * queues_.size()));
    const size_t mask = larger.size() - 1;
    for (const queue &each : queues_) {
        if (each.generation != generation_)
            continue;
        size_t place = each.hash & mask;
        while (larger[place].generation == generation_)
            place = (place + 1) & mask;
        larger[place] = each;
    }
    queues_.swap(larger);
}

} // namespace kiv::diff
