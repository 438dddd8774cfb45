#ifndef LAB_MERGE_INDEX_TABLE_H
#define LAB_MERGE_INDEX_TABLE_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kiv::merge {

constexpr uint32_t nowhere = UINT32_MAX;

// Finds numbered things by a hash of them; the things themselves are elsewhere.
class index_table {
public:
    explicit index_table(size_t expected) : slots_(slots_for(expected)) {}

    // The number of the thing for which is(number) holds, or nowhere.
    template <class Is>
    uint32_t find(uint32_t hash, Is is) const
    {
        for (size_t at = first_slot(hash);; at = next_slot(at)) {
            const slot &each = slots_[at];
            if (each.number == nowhere || (each.hash == hash && is(each.number)))
                return each.number;
        }
    }

    void add(uint32_t hash, uint32_t number)
    {
        if (++used_ * 2 > slots_.size())
            grow();
        put({hash, number});
    }

private:
    struct slot {
        uint32_t hash = 0;
        uint32_t number = nowhere;
    };

    static size_t slots_for(size_t expected) { return std::bit_ceil(expected * 2 + 2); }

    // Hashes that differ in their high bits alone begin apart, too.
    size_t first_slot(uint32_t hash) const
    {
        return static_cast<size_t>(hash * uint64_t{0x9E3779B97F4A7C15} >> 32) & (slots_.size() - 1);
    }
    size_t next_slot(size_t at) const { return (at + 1) & (slots_.size() - 1); }

    void put(slot added)
    {
        size_t at = first_slot(added.hash);
        while (slots_[at].number != nowhere)
            at = next_slot(at);
        slots_[at] = added;
    }

    void grow()
    {
        std::vector<slot> before(slots_.size() * 2);
        before.swap(slots_);
        for (const slot &each : before) {
            if (each.number != nowhere)
                put(each);
        }
    }

    std::vector<slot> slots_;
    size_t used_ = 0;
};

} // namespace kiv::merge

#endif
