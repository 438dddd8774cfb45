// Blocks that wait for one of the other text with the same first line.
#ifndef KIV_EXEC_DIFF_WAITING_H
#define KIV_EXEC_DIFF_WAITING_H

#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

#include "exec/diff_hash.h"
#include "exec/diff_lines.h"
#include "exec/diff_memory.h"

namespace kiv::diff {

enum side : uint8_t { old_side, new_side };

using entry_index = uint32_t;
inline constexpr entry_index no_entry = std::numeric_limits<entry_index>::max();

enum class status : uint8_t {
    waits,  // linked to the next one that waits with the same first line
    paired, // linked to its partner in the other text
    equal   // to its partner, to the last byte
};

// A block that has been looked at on its own.
struct entry {
    block lines;
    entry_index link;
    side of;
    status state;
};

// First lines, and the queue of those who wait behind each. All in a queue are of one side: whoever
// comes from the other side takes the first out.
class waiting_table {
public:
    // Forgets all; costs nothing.
    void clear();

    // Makes room for so many texts at once.
    void reserve(size_t texts);

    uint64_t hash(std::string_view text) const { return hash_(text); }

    // Whether anyone waits with this text.
    bool has(std::string_view text, const large_vector<entry> &entries) const
    {
        if (used_ == 0)
            return false;
        const uint64_t hash = hash_(text);
        return may_have(hash) && has(hash, text, entries);
    }

    // Read what settle will read for a text with this hash, one step further each. When that is
    // done for some texts first, the processor waits for the memory once, not once for each.
    void touch_queue(uint64_t hash) const
    {
        if (!queues_.empty())
            touch(&queues_[hash & (queues_.size() - 1)].generation);
    }
    void touch_text(uint64_t hash, const large_vector<entry> &entries) const
    {
        if (queues_.empty())
            return;
        const queue &home = queues_[hash & (queues_.size() - 1)];
        if (home.generation == generation_)
            touch(entries[home.last].lines.begin);
    }

    // Pairs the entry with the first that waits on the other side, or has it wait. The hash is that
    // of its first line.
    void settle(entry_index index, uint64_t hash, large_vector<entry> &entries);

private:
    struct queue {
        uint64_t hash;
        uint32_t generation; // in use where it is the table's
        entry_index first;   // no_entry where nobody waits
        entry_index last;    // who came last, waiting or not: has the text
    };

    // Tells most of the texts that are not there from those that may be, in little memory.
    struct filter_word {
        uint32_t generation;
        uint32_t bits;
    };

    static constexpr unsigned filter_shift = 32; // the place in the table has the low bits
    static uint32_t filter_bit(uint64_t hash) { return uint32_t{1} << (hash >> 59); }

    bool may_have(uint64_t hash) const
    {
        const filter_word &word = filter_[hash >> filter_shift & (filter_.size() - 1)];
        return word.generation == generation_ && (word.bits & filter_bit(hash)) != 0;
    }

    template <typename Value>
    static void touch(const Value *value)
    {
        static_cast<void>(*static_cast<const volatile Value *>(value));
    }

    bool has(uint64_t hash, std::string_view text, const large_vector<entry> &entries) const;
    size_t find(uint64_t hash, std::string_view text, const large_vector<entry> &entries) const;
    queue &open(entry_index index, uint64_t hash, const large_vector<entry> &entries);
    void add_to_filter(uint64_t hash);
    void grow(size_t size);

    text_hash hash_;
    large_vector<queue> queues_; // open addressing; none or a power of two
    large_vector<filter_word> filter_;
    size_t used_ = 0;
    uint32_t generation_ = 1;
};

} // namespace kiv::diff

#endif
