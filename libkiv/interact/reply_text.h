// The text of a reply as it grows.
#ifndef KIV_INTERACT_REPLY_TEXT_H
#define KIV_INTERACT_REPLY_TEXT_H

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

namespace kiv::interact {

// A string from malloc, for the caller of the library in the end. NUL bytes are left out, since the
// string would end at the first one.
class reply_text {
public:
    reply_text() = default;
    reply_text(const reply_text &) = delete;
    reply_text &operator=(const reply_text &) = delete;
    ~reply_text() { std::free(text_); }

    // The empty string. False without memory.
    bool start(size_t capacity)
    {
        text_ = static_cast<char *>(std::malloc(capacity));
        if (text_ == nullptr)
            return false;
        *text_ = '\0';
        capacity_ = capacity;
        return true;
    }

    // False without memory; the text is what it was then.
    bool append(std::string_view piece)
    {
        if (!make_room(piece.size()))
            return false;
        while (!piece.empty()) {
            const size_t length = std::min(piece.find('\0'), piece.size());
            std::memcpy(text_ + length_, piece.data(), length);
            length_ += length;
            piece.remove_prefix(std::min(length + 1, piece.size()));
        }
        text_[length_] = '\0';
        return true;
    }

    void cut(size_t length)
    {
        length_ = std::min(length_, length);
        text_[length_] = '\0';
    }

    size_t length() const { return length_; }
    std::string_view from(size_t position) const { return {text_ + position, length_ - position}; }

    char *release() { return std::exchange(text_, nullptr); }

private:
    // Doubles, so that the cost of a byte does not grow with the text.
    bool make_room(size_t size)
    {
        if (size < capacity_ - length_)
            return true;
        const size_t larger = std::max(2 * capacity_, length_ + size + 1);
        auto *moved = static_cast<char *>(std::realloc(text_, larger));
        if (moved == nullptr)
            return false;
        text_ = moved;
        capacity_ = larger;
        return true;
    }

    char *text_ = nullptr;
    size_t length_ = 0;
    size_t capacity_ = 0;
};

} // namespace kiv::interact

#endif
