#include <array>
#include <cstdio>
#include <cstring>

#include <kiv/platform/syserr.h>

namespace {

struct error_text {
    uint32_t code;
    const char *text;
};

#define KIV_ERROR_ROW(name, code, text) error_text{code, text},
constexpr std::array error_texts{error_text{0, "Success"}, KIV_ERROR_TABLE(KIV_ERROR_ROW)};
#undef KIV_ERROR_ROW

constexpr bool is_transport(uint32_t code)
{
    return (code & ~KIV_ERROR_TRANSPORT_ERRNO_MASK) == KIV_ERROR_TRANSPORT;
}

} // namespace

const char *syserr2str(uint32_t code) noexcept
{
    thread_local std::array<char, 64> unlisted;
    for (const error_text &row : error_texts) {
        if (row.code == code)
            return row.text;
    }
    if (is_transport(code)) {
        return strerror_r(static_cast<int>(code & KIV_ERROR_TRANSPORT_ERRNO_MASK), unlisted.data(),
                          unlisted.size());
    }
    std::snprintf(unlisted.data(), unlisted.size(), "Unknown error 0x%08X", code);
    return unlisted.data();
}
