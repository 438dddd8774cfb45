#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

#include <kiv/platform/bitset.h>

namespace {

constexpr uint32_t bits_per_byte = 8;

// Sets are records of many types that share a layout, so the size word is copied out and the
// storage is reached as bytes.
uint32_t storage_size(const bitset *b)
{
    uint32_t size;
    std::memcpy(&size, b, sizeof size);
    return size;
}

const uint8_t *storage(const bitset *b)
{
    return reinterpret_cast<const uint8_t *>(b) + sizeof(uint32_t);
}

uint8_t *storage(bitset *b)
{
    return reinterpret_cast<uint8_t *>(b) + sizeof(uint32_t);
}

constexpr uint8_t bit_in_byte(uint32_t bit)
{
    return static_cast<uint8_t>(1U << bit % bits_per_byte);
}

// The number of the first bit at or after `from` that has the value `wanted`; none when there is
// none in the storage.
std::optional<uint32_t> find_bit(const bitset *b, bool wanted, uint32_t from)
{
    const uint32_t size = storage_size(b);
    const uint8_t *bytes = storage(b);
    unsigned skip = from % bits_per_byte;
    for (uint32_t i = from / bits_per_byte; i < size; ++i, skip = 0) {
        unsigned candidates = wanted ? bytes[i] : static_cast<uint8_t>(~bytes[i]);
        candidates &= 0xFFU << skip;
        if ((candidates & 0xFFU) != 0)
            return i * bits_per_byte + static_cast<uint32_t>(std::countr_zero(candidates));
    }
    return std::nullopt;
}

int32_t number_or_none(std::optional<uint32_t> bit)
{
    return bit ? static_cast<int32_t>(*bit) : -1;
}

// Text that is counted whole and kept as far as it fits.
class bounded_text {
public:
    bounded_text(char *text, size_t size) : text_(text), size_(size)
    {
        if (size_ > 0)
            text_[0] = '\0';
    }

    void append_number(char separator, uint32_t number)
    {
        std::array<char, 16> piece;
        const int length =
            separator == '\0'
                ? std::snprintf(piece.data(), piece.size(), "%u", number)
                : std::snprintf(piece.data(), piece.size(), "%c%u", separator, number);
        const auto piece_length = static_cast<size_t>(length);
        if (size_ > 0 && length_ < size_ - 1) {
            const size_t fits = std::min(piece_length, size_ - 1 - length_);
            std::memcpy(text_ + length_, piece.data(), fits);
            text_[length_ + fits] = '\0';
        }
        length_ += piece_length;
    }

    size_t length() const { return length_; }

private:
    char *text_;
    size_t size_;
    size_t length_ = 0;
};

} // namespace

void bitset_clear(bitset *b) noexcept
{
    std::memset(storage(b), 0, storage_size(b));
}

void bitset_copy(bitset *dst, const bitset *src) noexcept
{
    const uint32_t common = std::min(storage_size(dst), storage_size(src));
    std::memmove(storage(dst), storage(src), common);
    std::memset(storage(dst) + common, 0, storage_size(dst) - common);
}

void bitset_set_bit(bitset *b, uint32_t bit) noexcept
{
    if (bit / bits_per_byte < storage_size(b))
        storage(b)[bit / bits_per_byte] |= bit_in_byte(bit);
}

int bitset_is_bit_set(const bitset *b, uint32_t bit) noexcept
{
    return bit / bits_per_byte < storage_size(b) &&
           (storage(b)[bit / bits_per_byte] & bit_in_byte(bit)) != 0;
}

int32_t bitset_first_bit(const bitset *b) noexcept
{
    return number_or_none(find_bit(b, true, 0));
}

int32_t bitset_first_free_bit(const bitset *b) noexcept
{
    return number_or_none(find_bit(b, false, 0));
}

void bitset_intersection(bitset *dst, const bitset *src) noexcept
{
    const uint32_t common = std::min(storage_size(dst), storage_size(src));
    for (uint32_t i = 0; i < common; ++i)
        storage(dst)[i] &= storage(src)[i];
    std::memset(storage(dst) + common, 0, storage_size(dst) - common);
}

void bitset_from_bitarray(bitset *b, const uint8_t *array) noexcept
{
    std::memcpy(storage(b), array, storage_size(b));
}

void bitset_printf_hex(const bitset *b) noexcept
{
    static constexpr char digits[] = "0123456789abcdef";
    flockfile(stdout);
    std::fputs("0x", stdout);
    for (uint32_t i = storage_size(b); i-- > 0;) {
        putc_unlocked(digits[storage(b)[i] >> 4], stdout);
        putc_unlocked(digits[storage(b)[i] & 0xF], stdout);
    }
    putc_unlocked(' ', stdout);
    funlockfile(stdout);
}

int bitset_sprintf(char *text, size_t size, const bitset *b) noexcept
{
    const uint32_t end_of_storage = storage_size(b) * bits_per_byte;
    bounded_text list(text, size);
    std::optional<uint32_t> first = find_bit(b, true, 0);
    while (first) {
        const uint32_t end = find_bit(b, false, *first).value_or(end_of_storage);
        list.append_number(list.length() == 0 ? '\0' : ',', *first);
        if (end - *first > 1)
            list.append_number('-', end - 1);
        first = find_bit(b, true, end);
    }
    return static_cast<int>(list.length());
}
