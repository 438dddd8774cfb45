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

// Takes a part off the front of the text, and the mark before it: one may stand before a part that
// is empty, and must before one that is not.
void take(std::string_view &text, std::string_view mark, std::string_view part)
{
    if (text.starts_with(mark))
        text.remove_prefix(mark.size());
    else
        require(part.empty());
    require(text.starts_with(part));
    text.remove_prefix(part.size());
}

void take_authority(std::string_view &text, const uriparse_pool &pool)
{
    const std::string_view host = uriparse_host_get(&pool);
    const std::string_view authority = text.substr(0, text.find_first_of("/?#", 2));
    const bool has_user = authority.find('@') != std::string_view::npos;
    take(text, "//", uriparse_user_get(&pool));
    if (has_user) {
        take(text, ":", uriparse_password_get(&pool));
        take(text, "@", "");
    }
    const bool is_address = host.find(':') != std::string_view::npos;
    take(text, is_address ? "[" : "", host);
    take(text, is_address ? "]" : "", "");
    take(text, ":", uriparse_port_get(&pool));
}

void check_parts(const char *uri, const uriparse_pool &pool)
{
    std::string_view text = uri;
    take(text, "", uriparse_scheme_get(&pool));
    take(text, ":", "");
    if (text.starts_with("//"))
        take_authority(text, pool);
    take(text, "", uriparse_path_get(&pool));
    require(text.empty() || text[0] == '?' || text[0] == '#');
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
