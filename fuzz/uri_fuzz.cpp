// What parses is made of its parts; what does not leaves the record alone.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include <kiv/kiv_lib.h>
#include <kiv/platform/uriparse.h>

#include "require.h"

namespace {

using fuzz::require;

// The parts stand in this order, with marks between them; the path reaches to the end.
void check_parts(std::string_view uri, const uriparse_pool &pool)
{
    require(uri.substr(0, uri.find_first_of("?#")).ends_with(uriparse_path_get(&pool)));
    for (const auto part : {uriparse_scheme_get, uriparse_user_get, uriparse_password_get,
                            uriparse_host_get, uriparse_port_get, uriparse_path_get}) {
        const std::string_view text = part(&pool);
        const size_t place = uri.find(text);
        require(place != std::string_view::npos);
        uri.remove_prefix(place + text.size());
    }
}

template <size_t Size>
void check_field(const char (&field)[Size], const char *part)
{
    require(strnlen(field, Size) == std::min(std::strlen(part), Size - 1));
    require(std::strncmp(field, part, Size - 1) == 0);
}

void check_record(const uri_info &record, const uriparse_pool &pool)
{
    check_field(record.scheme, uriparse_scheme_get(&pool));
    check_field(record.user, uriparse_user_get(&pool));
    check_field(record.password, uriparse_password_get(&pool));
    check_field(record.server, uriparse_host_get(&pool));
    check_field(record.path, uriparse_path_get(&pool));
    require(record.port >= 0 && record.port <= 65535);
    uri_info copy;
    kiv_uri_info_copy(&copy, &record);
    require(copy.path[0] == '/' && copy.port == record.port);
    kiv_uri_info_print(&copy);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    uriparse_pool pool{.magic = URIPARSE_POOL_MAGIC, .size = sizeof pool, .area = {}};
    sysmgr_strings_init(pool.area, URIPARSE_POOL_STRINGS, sizeof pool.area);
    uri_info untouched;
    std::memset(&untouched, 'x', sizeof untouched);
    uri_info record = untouched;
    const int error = uriparse_parse(text.c_str(), &pool, 1);
    require(kiv_xml_parse_uri(&record, text.c_str()) == error);
    if (error != 0) {
        require(std::memcmp(&record, &untouched, sizeof record) == 0);
        return 0;
    }
    check_parts(text.c_str(), pool);
    check_record(record, pool);
    return 0;
}
