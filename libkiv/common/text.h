#ifndef KIV_COMMON_TEXT_H
#define KIV_COMMON_TEXT_H

#include <array>
#include <charconv>
#include <cstring>
#include <string_view>

namespace kiv {

// Text built piece by piece in a fixed buffer. A piece that does not fit leaves the text short for
// good; whoever built it asks once, at the end.
template <size_t Size>
class fixed_text {
public:
    fixed_text &append(std::string_view piece)
    {
        if (piece.size() > Size - 1 - length_) {
            overflowed_ = true;
            return *this;
        }
        std::memcpy(text_.data() + length_, piece.data(), piece.size());
        length_ += piece.size();
        return *this;
    }

    fixed_text &append(int number)
    {
        std::array<char, 16> digits;
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        return append({digits.data(), static_cast<size_t>(end - digits.data())});
    }

    bool overflowed() const { return overflowed_; }
    size_t length() const { return length_; }

    // The bytes behind the text are zeros, so the text is always terminated.
    const char *c_str() const { return text_.data(); }

private:
    std::array<char, Size> text_{};
    size_t length_ = 0;
    bool overflowed_ = false;
};

// The string in a field of a record, or the whole field where it has no end.
template <size_t Size>
std::string_view field_text(const char (&field)[Size])
{
    return {field, strnlen(field, Size)};
}

template <size_t Size>
bool is_open(const char (&field)[Size])
{
    return strnlen(field, Size) == Size;
}

} // namespace kiv

#endif
