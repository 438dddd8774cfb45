// Strings in a block of memory that another one owns.
#ifndef KIV_PLATFORM_URIPARSE_STRING_POOL_H
#define KIV_PLATFORM_URIPARSE_STRING_POOL_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kiv_platform {

// A block begins with this head. Behind it are a 32-bit word for each string that there may be, its
// offset in the text, and then the text: the strings with their NULs, one behind the other.
struct string_pool_head {
    uint32_t size;  // of the block
    uint32_t limit; // strings that there may be
    uint32_t count; // strings that there are
    uint32_t used;  // bytes of the text
};

// Whether a pool for so many strings fits so many bytes.
constexpr bool is_string_pool_size(uint32_t limit, uint32_t size)
{
    return sizeof(string_pool_head) + uint64_t{limit} * sizeof(uint32_t) <= size;
}

// What the block says of itself is checked when it is opened.
class string_pool {
public:
    string_pool(void *block, size_t size);

    bool is_sound() const { return sound_; }
    void clear();
    bool append(std::string_view text); // false: it does not fit, and the pool stays as it was

private:
    void store_head();

    char *block_;
    string_pool_head head_;
    bool sound_;
};

// The string at `index`, empty where there is none.
const char *string_of_pool(const void *block, size_t size, uint32_t index);

} // namespace kiv_platform

#endif
