#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <strings.h>

#include <kiv/common.h>

namespace {

constexpr size_t string_buffer_size = 1024;

// What is above was a negative number.
constexpr size_t largest_size = PTRDIFF_MAX;

} // namespace

size_t robust_strlen(const char *s) noexcept
{
    return s == nullptr ? 0 : std::strlen(s);
}

void robust_strcpy(char *dst, const char *src) noexcept
{
    if (dst == nullptr)
        return;
    if (src == nullptr)
        *dst = '\0';
    else
        std::strcpy(dst, src);
}

void robust_strncpy(char *dst, const char *src, size_t size) noexcept
{
    if (dst == nullptr || size == 0 || size > largest_size)
        return;
    if (src == nullptr) {
        *dst = '\0';
        return;
    }
    const size_t length = strnlen(src, size - 1);
    std::memmove(dst, src, length);
    std::memset(dst + length, 0, size - length);
}

void robust_strncat(char *dst, const char *src, size_t size) noexcept
{
    const size_t used = robust_strlen(dst);
    if (dst == nullptr || src == nullptr || used >= size || size > largest_size)
        return;
    robust_strncpy(dst + used, src, size - used);
}

int robust_strcasecmp(const char *a, const char *b) noexcept
{
    if (b == nullptr)
        return -1;
    if (a == nullptr)
        return 1;
    return strcasecmp(a, b);
}

uint64_t convert_str_to_uint64(const char *s) noexcept
{
    return s == nullptr ? 0 : std::strtoull(s, nullptr, 16);
}

uint32_t convert_str_to_uint(const char *s) noexcept
{
    return s == nullptr ? 0 : static_cast<uint32_t>(std::strtoul(s, nullptr, 10));
}

int32_t convert_str_to_int(const char *s) noexcept
{
    return s == nullptr ? 0 : static_cast<int32_t>(std::strtol(s, nullptr, 0));
}

int strtrim(const char *src, char **out) noexcept
{
    if (out == nullptr)
        return 0;
    *out = nullptr;
    std::string_view text(src, robust_strlen(src));
    if (text.size() > string_buffer_size)
        std::puts("Error: String length bigger than STRING_BUFFER_SIZE");
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    text = text.substr(0, text.find_last_not_of(' ') + 1);
    if (text.empty())
        return 0;
    *out = static_cast<char *>(std::malloc(text.size() + 1));
    if (*out == nullptr)
        return 0;
    std::memcpy(*out, text.data(), text.size());
    (*out)[text.size()] = '\0';
    return static_cast<int>(text.size());
}
