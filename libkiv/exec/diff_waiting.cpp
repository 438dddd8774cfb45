#include "exec/diff_waiting.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

namespace kiv::diff {

namespace {

constexpr size_t smallest_table = 64;
constexpr size_t queues_per_filter_word = 4;

bool have_equal_children(const block &left, const block &right)
{
    const lines of_left = left.children();
    const lines of_right = right.children();
    const ptrdiff_t size = of_left.end - of_left.begin;
    return size == of_right.end - of_right.begin &&
           std::memcmp(of_left.begin, of_right.begin, static_cast<size_t>(size)) == 0;
}

} // namespace

void waiting_table::clear()
{
    used_ = 0;
    if (++generation_ != 0)
        return;
    std::ranges::fill(queues_, queue{});
    std::ranges::fill(filter_, filter_word{});
    generation_ = 1;
}

// The place of the queue with this text, or the free one where it would be.
size_t waiting_table::find(uint64_t hash, std::string_view text,
                           const large_vector<entry> &entries) const
{
    const size_t mask = queues_.size() - 1;
    for (size_t place = hash & mask;; place = (place + 1) & mask) {
        const queue &found = queues_[place];
        if (found.generation != generation_ ||
            (found.hash == hash && entries[found.last].lines.text() == text))
            return place;
    }
}

bool waiting_table::has(uint64_t hash, std::string_view text,
                        const large_vector<entry> &entries) const
{
    const queue &found = queues_[find(hash, text, entries)];
    return found.generation == generation_ && found.first != no_entry;
}

void waiting_table::settle(entry_index index, uint64_t hash, large_vector<entry> &entries)
{
    queue &found = open(index, hash, entries);
    entry &newcomer = entries[index];
    if (found.first == no_entry) {
        found.first = found.last = index;
        return;
    }
    entry &first = entries[found.first];
    if (first.of == newcomer.of) {
        entries[found.last].link = index;
        found.last = index;
        return;
    }
    const bool is_equal = have_equal_children(first.lines, newcomer.lines);
    first.state = newcomer.state = is_equal ? status::equal : status::paired;
    newcomer.link = found.first;
    found.first = first.link;
    first.link = index;
}

waiting_table::queue &waiting_table::open(entry_index index, uint64_t hash,
                                          const large_vector<entry> &entries)
{
    if (2 * used_ >= queues_.size())
        grow(std::max(smallest_table, 2 * queues_.size()));
    queue &found = queues_[find(hash, entries[index].lines.text(), entries)];
    if (found.generation != generation_) {
        found = {hash, generation_, no_entry, index};
        add_to_filter(hash);
        ++used_;
    }
    return found;
}

void waiting_table::add_to_filter(uint64_t hash)
{
    filter_word &word = filter_[hash >> filter_shift & (filter_.size() - 1)];
    if (word.generation != generation_)
        word = {generation_, 0};
    word.bits |= filter_bit(hash);
}

void waiting_table::reserve(size_t texts)
{
    const size_t size = std::bit_ceil(2 * texts);
    if (size > std::max(smallest_table, queues_.size()))
        grow(size);
}

void waiting_table::grow(size_t size)
{
    large_vector<queue> larger(size);
    filter_.assign(larger.size() / queues_per_filter_word, {});
    const size_t mask = larger.size() - 1;
    for (const queue &each : queues_) {
        if (each.generation != generation_)
            continue;
        size_t place = each.hash & mask;
        while (larger[place].generation == generation_)
            place = (place + 1) & mask;
        larger[place] = each;
        add_to_filter(each.hash);
    }
    queues_.swap(larger);
}

} // namespace kiv::diff
