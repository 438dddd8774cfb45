#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

#include <kiv/platform/bitset.h>

namespace {

constexpr uint32_t bits_per_byte = 8;
constexpr uint32_t bytes_per_word = sizeof(uint64_t);
constexpr uint32_t bits_per_word = bytes_per_word * bits_per_byte;

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

// Eight bytes of the storage: bit i of the word is bit i of the bytes, on every host. Bytes beyond
// the storage are 0.
uint64_t word_at(const uint8_t *bytes, uint32_t size, uint32_t offset)
{
    uint64_t word = 0;
    if (size - offset >= sizeof word)
        std::memcpy(&word, bytes + offset, sizeof word);
    else
        std::memcpy(&word, bytes + offset, size - offset);
    return std::endian::native == std::endian::little ? word : __builtin_bswap64(word);
}

// The number of the first bit at or after `from` that has the value `wanted`; none when there is
// none in the storage.
std::optional<uint32_t> find_bit(const bitset *b, bool wanted, uint32_t from)
{
    const uint32_t size = storage_size(b);
    const uint8_t *bytes = storage(b);
    const uint64_t unwanted = wanted ? 0 : UINT64_MAX;
    uint64_t behind = UINT64_MAX << from % bits_per_word;
    for (uint32_t word = from / bits_per_word; word * bytes_per_word < size; ++word) {
        const uint64_t candidates =
            (word_at(bytes, size, word * bytes_per_word) ^ unwanted) & behind;
        behind = UINT64_MAX;
        if (candidates == 0)
            continue;
        const uint32_t bit =
            word * bits_per_word + static_cast<uint32_t>(std::countr_zero(candidates));
        return bit < size * bits_per_byte ? std::optional(bit) : std::nullopt;
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

    // With the separator in front, unless that is NUL.
    void append_number(char separator, uint32_t number)
    {
        std::array<char, 16> piece{separator};
        char *digits = piece.data() + (separator == '\0' ? 0 : 1);
        const char *end = std::to_chars(digits, piece.data() + piece.size(), number).ptr;
        append({piece.data(), end});
    }

    size_t length() const { return length_; }

private:
    void append(std::string_view piece)
    {
        if (size_ > 0 && length_ < size_ - 1) {
            const size_t fits = std::min(piece.size(), size_ - 1 - length_);
            std::memcpy(text_ + length_, piece.data(), fits);
            text_[length_ + fits] = '\0';
        }
        length_ += piece.size();
    }

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
    uint8_t *to = storage(dst);
    const uint8_t *from = storage(src);
    for (uint32_t i = 0; i < common; ++i)
        to[i] &= from[i];
    std::memset(to + common, 0, storage_size(dst) - common);
}

void bitset_from_bitarray(bitset *b, const uint8_t *array) noexcept
{
    std::memcpy(storage(b), array, storage_size(b));
}

void bitset_printf_hex(const bitset *b) noexcept
{
    static constexpr char digits[] = "0123456789abcdef";
    const uint8_t *bytes = storage(b);
    std::array<char, 1024> text;
    size_t length = 0;
    flockfile(stdout);
    std::fputs("0x", stdout);
    for (uint32_t i = storage_size(b); i-- > 0;) {
        text[length++] = digits[bytes[i] >> 4];
        text[length++] = digits[bytes[i] & 0xF];
        if (length == text.size() || i == 0) {
            std::fwrite(text.data(), 1, length, stdout);
            length = 0;
        }
    }
    std::putc(' ', stdout);
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
