// Blocks that wait for one of the other text with the same first line.
#ifndef KIV_EXEC_DIFF_WAITING_H
#define KIV_EXEC_DIFF_WAITING_H

#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

#include "exec/diff_lines.h"

namespace kiv::diff {

enum side : uint8_t { old_side, new_side };

using entry_index = uint32_t;
inline constexpr entry_index no_entry = std::numeric_limits<entry_index>::max();

// A block that has been looked at on its own.
struct entry {
    block lines;
    side of;
    entry_index partner = no_entry; // the block of the other text that it is paired with
    entry_index next = no_entry;    // the next one that waits with the same first line
};

// Hashes texts in a way that nobody can foresee, so that no input makes all of them collide.
class text_hash {
public:
    text_hash();
    uint64_t operator()(std::string_view text) const;

private:
    struct seeds {
        uint64_t first;
        uint64_t second;
        uint64_t third;
    } seeds_;
};

// First lines, and the queue of those who wait behind each. All in a queue are of one side: whoever
// comes from the other side takes the first out.
class waiting_table {
public:
    // Forgets all; costs nothing.
    void clear();

    // Whether anyone waits with this text.
    bool has(std::string_view text, const std::vector<entry> &entries) const;

    // Pairs the entry with the first that waits on the other side, or has it wait.
    void settle(entry_index index, std::vector<entry> &entries);

private:
    struct queue {
        uint64_t hash;
        uint32_t generation; // in use where it is the table's
        entry_index first;   // no_entry where nobody waits
        entry_index last;    // who came last, waiting or not: has the text
    };

    size_t find(uint64_t hash, std::string_view text, const std::vector<entry> &entries) const;
    queue &open(entry_index index, const std::vector<entry> &entries);
    void grow();

    text_hash hash_;
    std::vector<queue> queues_; // open addressing; none or a power of two
    size_t used_ = 0;
    uint32_t generation_ = 1;
};

} // namespace kiv::diff

#endif
