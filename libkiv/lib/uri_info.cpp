#include <array>
#include <cstdlib>

#include <strings.h>

#include <kiv/kiv_lib.h>
#include <kiv/platform/uriparse.h>

#include "common/text.h"

static_assert(offsetof(uri_info, server_prefix) == 164 && offsetof(uri_info, path) == 232);
static_assert(sizeof(uri_info) == 488);

const kiv_scheme_map kiv_scheme_map_table[KIV_SCHEMES] = {
    {0x00010000, "dm-etc"},
    {0x00020000, "dm-lib"},
    {0x00040000, "dm-patch"},
};

namespace {

// Smaller than the fields by one character: what is longer is cut here.
constexpr size_t word_size = sizeof uri_info::scheme - 1;
constexpr size_t server_size = sizeof uri_info::server - 1;
constexpr size_t path_size = sizeof uri_info::path - 1;

uriparse_pool empty_pool()
{
    uriparse_pool pool;
    pool.magic = URIPARSE_POOL_MAGIC;
    pool.size = sizeof pool;
    sysmgr_strings_init(pool.area, URIPARSE_POOL_STRINGS, sizeof pool.area);
    return pool;
}

template <size_t Size>
void store(char (&field)[Size], const char *text)
{
    robust_strncpy(field, text, Size);
}

// A field as a string, also where a record has none that ends in it.
template <size_t Size>
std::array<char, Size + 1> string_in(const char (&field)[Size])
{
    std::array<char, Size + 1> text{};
    kiv::field_text(field).copy(text.data(), Size);
    return text;
}

uint32_t type_of(const char *scheme)
{
    const uint32_t type = uri_map_get_uri_type_from_scheme(scheme);
    return type != 0 ? type : kiv_get_uri_type_from_scheme(scheme);
}

void join_server(uri_info &record, const char *name)
{
    char cut_name[sizeof record.server] = {};
    robust_strncpy(cut_name, name, server_size);
    store(record.server, record.server_prefix);
    robust_strncat(record.server, cut_name, sizeof record.server);
}

void store_path(uri_info &record, const char *path)
{
    if (path == nullptr || *path == '/') {
        robust_strncpy(record.path, path, path_size);
        return;
    }
    store(record.path, "/");
    robust_strncat(record.path, path, sizeof record.path);
}

} // namespace

int kiv_xml_parse_uri(struct uri_info *uri_info, const char *uri_text) noexcept
{
    uriparse_pool pool = empty_pool();
    if (const int error = uriparse_parse(uri_text, &pool, 1); error != 0)
        return error;
    KIV_ASSERT("kiv_lib", uri_info);
    *uri_info = {};
    store(uri_info->scheme, uriparse_scheme_get(&pool));
    uri_info->type = uri_map_get_uri_type_from_scheme(uri_info->scheme);
    store(uri_info->user, uriparse_user_get(&pool));
    store(uri_info->password, uriparse_password_get(&pool));
    store(uri_info->server, uriparse_host_get(&pool));
    uri_info->port = static_cast<int32_t>(std::strtol(uriparse_port_get(&pool), nullptr, 10));
    store(uri_info->path, uriparse_path_get(&pool));
    return 0;
}

int kiv_uri_info_populate(struct uri_info *uri_info, const char *scheme, const char *user,
                          const char *password, const char *server_prefix, const char *server_name,
                          int32_t port, const char *path) noexcept
{
    KIV_ASSERT("kiv_lib", uri_info);
    // Apart from the record, since the pieces may be its own strings.
    struct uri_info record {};
    record.type = type_of(scheme);
    robust_strncpy(record.scheme, scheme, word_size);
    robust_strncpy(record.user, user, word_size);
    robust_strncpy(record.password, password, word_size);
    robust_strncpy(record.server_prefix, server_prefix, server_size);
    join_server(record, server_name);
    record.port = port;
    store_path(record, path);
    *uri_info = record;
    return 0;
}

int kiv_uri_info_copy(struct uri_info *dest_uri_info, const struct uri_info *src_uri_info) noexcept
{
    KIV_ASSERT("kiv_lib", src_uri_info);
    KIV_ASSERT("kiv_lib", dest_uri_info);
    return kiv_uri_info_populate(
        dest_uri_info, string_in(src_uri_info->scheme).data(), string_in(src_uri_info->user).data(),
        string_in(src_uri_info->password).data(), "", string_in(src_uri_info->server).data(),
        src_uri_info->port, string_in(src_uri_info->path).data());
}

int kiv_uri_info_print(const struct uri_info *uri_info) noexcept
{
    KIV_ASSERT("kiv_lib", uri_info);
    print_int(" type", static_cast<int32_t>(uri_info->type));
    print_str(" Scheme", string_in(uri_info->scheme).data());
    print_str(" user", string_in(uri_info->user).data());
    print_str(" server", string_in(uri_info->server).data());
    print_int(" port", uri_info->port);
    print_str(" path", string_in(uri_info->path).data());
    return 0;
}

uint32_t kiv_get_uri_type_from_scheme(const char *scheme) noexcept
{
    KIV_ASSERT("kiv_lib", scheme);
    for (const kiv_scheme_map &row : kiv_scheme_map_table) {
        if (strcasecmp(scheme, row.scheme) == 0)
            return row.type;
    }
    return 0;
}

const char *kiv_get_scheme_from_uri_type(uint32_t type) noexcept
{
    for (const kiv_scheme_map &row : kiv_scheme_map_table) {
        if (row.type == type)
            return row.scheme;
    }
    return nullptr;
}
