// Hashes of texts that nobody can foresee, so that no input makes many of them collide.
#ifndef KIV_EXEC_DIFF_HASH_H
#define KIV_EXEC_DIFF_HASH_H

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace kiv::diff {

class text_hash {
public:
    text_hash();

    uint64_t operator()(std::string_view text) const
    {
        const char *begin = text.data();
        const char *end = begin + text.size();
        uint64_t state = seeds_[0] ^ text.size();
        if (text.size() <= 16)
            return mix(state, hash_short(text));
        // Two chains, which the processor follows at the same time; the last pieces may overlap
        // those before.
        uint64_t other = seeds_[1];
        for (; end - begin > 32; begin += 32) {
            state = mix_pair(begin, state, seeds_[2]);
            other = mix_pair(begin + 16, other, seeds_[3]);
        }
        if (end - begin > 16)
            state = mix_pair(begin, state, seeds_[2]);
        return mix(state, mix_pair(end - 16, other, seeds_[3]));
    }

private:
    // Both halves of the product.
    static uint64_t mix(uint64_t a, uint64_t b)
    {
        __extension__ using wide = unsigned __int128;
        const wide product = static_cast<wide>(a) * b;
        return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
    }

    template <typename Word>
    static uint64_t load(const char *from)
    {
        Word word;
        std::memcpy(&word, from, sizeof word);
        return word;
    }

    static uint64_t mix_pair(const char *from, uint64_t state, uint64_t seed)
    {
        return mix(load<uint64_t>(from) ^ seed, load<uint64_t>(from + 8) ^ state);
    }

    // Words that hold all of the text, and may overlap.
    uint64_t hash_short(std::string_view text) const
    {
        const char *begin = text.data();
        const char *end = begin + text.size();
        uint64_t first = 0;
        uint64_t last = 0;
        if (text.size() >= 8) {
            first = load<uint64_t>(begin);
            last = load<uint64_t>(end - 8);
        } else if (text.size() >= 4) {
            first = load<uint32_t>(begin);
            last = load<uint32_t>(end - 4);
        } else if (!text.empty()) {
            first = load<uint8_t>(begin) << 8 | load<uint8_t>(begin + text.size() / 2);
            last = load<uint8_t>(end - 1);
        }
        return mix(first ^ seeds_[2], last ^ seeds_[3]);
    }

    std::array<uint64_t, 4> seeds_;
};

} // namespace kiv::diff

#endif
