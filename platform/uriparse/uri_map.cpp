#include <array>

#include <strings.h>

#include <kiv/platform/uriparse.h>

namespace {

struct scheme_type {
    const char *scheme;
    uint32_t type;
};

#define URI_TYPE_ROW(name, code, scheme) scheme_type{scheme, code},
constexpr std::array scheme_types{URI_TYPE_TABLE(URI_TYPE_ROW)};
#undef URI_TYPE_ROW

constexpr uint32_t types_of_the_shell = 0x00070000;

// Types are put together in masks.
consteval bool are_bits_of_their_own()
{
    uint32_t taken = types_of_the_shell;
    for (const scheme_type &row : scheme_types) {
        if ((row.type & (row.type - 1)) != 0 || (row.type & ~taken) == 0)
            return false;
        taken |= row.type;
    }
    return true;
}
static_assert(are_bits_of_their_own());

} // namespace

uint32_t uri_map_get_uri_type_from_scheme(const char *scheme) noexcept
{
    for (const scheme_type &row : scheme_types) {
        if (scheme != nullptr && strcasecmp(scheme, row.scheme) == 0)
            return row.type;
    }
    return 0;
}
