#ifndef KIV_COMMON_STANDARD_OUTPUT_H
#define KIV_COMMON_STANDARD_OUTPUT_H

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>
#include <string_view>

namespace kiv {

// A short text that is known beforehand, in a block that is copied whole: a copy of fixed size
// needs no call.
struct literal {
    static constexpr size_t block_size = 32;

    template <size_t Size>
    consteval literal(const char (&text)[Size]) : length(Size - 1) // NOLINT: stands for the text
    {
        static_assert(Size <= block_size + 1);
        for (size_t i = 0; i < length; ++i)
            block[i] = text[i];
    }

    std::array<char, block_size> block{};
    size_t length;
};

// The two digits of every byte.
inline constexpr auto hex_digits = [] {
    constexpr char digits[] = "0123456789abcdef";
    std::array<std::array<char, 2>, 256> pairs{};
    for (size_t byte = 0; byte < pairs.size(); ++byte)
        pairs[byte] = {digits[byte >> 4], digits[byte & 0xF]};
    return pairs;
}();

// Text for standard output, handed over in large pieces. It goes through the C library's stream, so
// that it comes behind what the caller has printed before.
class standard_output {
public:
    explicit standard_output(std::span<char> buffer) : buffer_(buffer) {}
    standard_output(const standard_output &) = delete;
    standard_output &operator=(const standard_output &) = delete;
    ~standard_output() { flush(); }

    void append(std::string_view text)
    {
        if (text.size() > buffer_.size()) {
            flush();
            std::fwrite(text.data(), 1, text.size(), stdout);
            return;
        }
        std::memcpy(reserve(text.size()), text.data(), text.size());
        length_ += text.size();
    }

    template <size_t Size>
    void append(const char (&text)[Size])
    {
        std::memcpy(reserve(Size), text, Size);
        length_ += Size - 1;
    }

    void append(const literal &text)
    {
        std::memcpy(reserve(text.block.size()), text.block.data(), text.block.size());
        length_ += text.length;
    }

    void append(char character)
    {
        *reserve(1) = character;
        ++length_;
    }

    // A few of them.
    void append_blanks(size_t count)
    {
        std::memset(reserve(count), ' ', count);
        length_ += count;
    }

    // In the digits of `base`, lower-case, with a sign in front of negative numbers.
    template <typename Integer>
    void append_number(Integer number, int base = 10)
    {
        char *room = reserve(longest_number);
        advance_to(std::to_chars(room, room + longest_number, number, base).ptr);
    }

    // Two digits for each byte, from the last one to the first.
    void append_hex_reversed(const uint8_t *bytes, size_t count)
    {
        while (count > 0) {
            const size_t part = std::min(count, buffer_.size() / 2);
            char *room = reserve(2 * part);
            for (const size_t rest = count - part; count > rest; room += 2)
                std::memcpy(room, hex_digits[bytes[--count]].data(), 2);
            advance_to(room);
        }
    }

    void flush()
    {
        if (length_ == 0)
            return;
        std::fwrite(buffer_.data(), 1, length_, stdout);
        length_ = 0;
    }

private:
    static constexpr size_t longest_number = 24;

    // Room for so many characters, no more than the buffer has.
    char *reserve(size_t count)
    {
        if (count > buffer_.size() - length_)
            flush();
        return buffer_.data() + length_;
    }

    void advance_to(const char *end) { length_ = static_cast<size_t>(end - buffer_.data()); }

    std::span<char> buffer_;
    size_t length_ = 0;
};

// With a buffer of its own.
template <size_t Size>
class buffered_output : public standard_output {
public:
    buffered_output() : standard_output(storage_) {} // NOLINT: filled before it is read

private:
    std::array<char, Size> storage_;
};

// For a few values, and for large texts.
using small_output = buffered_output<512>;
using large_output = buffered_output<size_t{64} << 10>;

} // namespace kiv

#endif
