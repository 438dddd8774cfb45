// The text of a reply as it grows.
#ifndef KIV_INTERACT_REPLY_TEXT_H
#define KIV_INTERACT_REPLY_TEXT_H

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>

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
    // By a factor, so that the cost of a byte does not grow with the text.
    bool make_room(size_t size)
    {
        const size_t needed = length_ + size + 1;
        return needed <= capacity_ || move_to(std::max(4 * capacity_, needed)) || move_to(needed);
    }

    // To a new block: realloc would move the pages of the old one, which takes longer than to copy
    // them when they are large.
    bool move_to(size_t capacity)
    {
        auto *block = static_cast<char *>(std::malloc(capacity));
        if (block == nullptr)
            return false;
        if (capacity >= large)
            use_large_pages(block, capacity);
        std::memcpy(block, text_, length_ + 1);
        std::free(text_);
        text_ = block;
        capacity_ = capacity;
        return true;
    }

    // To get small pages one by one takes longer than to fill them. A hint: it may come to nothing.
    static void use_large_pages(char *block, size_t size)
    {
        const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t before_page = -reinterpret_cast<uintptr_t>(block) % page;
        madvise(block + before_page, (size - before_page) / page * page, MADV_HUGEPAGE);
    }

    static constexpr size_t large = size_t{1} << 20;

    char *text_ = nullptr;
    size_t length_ = 0;
    size_t capacity_ = 0;
};

} // namespace kiv::interact

#endif
