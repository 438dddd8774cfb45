#include <kiv/platform/uriparse.h>

#include <algorithm>
#include <array>
#include <string_view>

#include <arpa/inet.h>

#include "string_pool.h"

static_assert(sizeof(uriparse_pool) == 1024);

namespace {

using kiv_platform::string_pool;
using std::string_view;

// In the order of their strings in the pool.
enum part : uint32_t { scheme, user, password, host, port, path, part_count };
using parts = std::array<string_view, part_count>;

constexpr int largest_port = 65535;

constexpr bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

constexpr bool is_letter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

constexpr bool is_hex_digit(char c)
{
    return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// Unreserved characters and sub-delimiters are allowed wherever others are.
constexpr bool is_plain(char c)
{
    return is_letter(c) || is_digit(c) ||
           string_view("-._~!$&'()*+,;=").find(c) != string_view::npos;
}

bool is_encoded(string_view text)
{
    return text.size() >= 3 && text[0] == '%' && is_hex_digit(text[1]) && is_hex_digit(text[2]);
}

// Plain and percent-encoded characters, and those of `others`.
bool is_made_of(string_view text, string_view others)
{
    while (!text.empty()) {
        const bool single = is_plain(text[0]) || others.find(text[0]) != string_view::npos;
        if (!single && !is_encoded(text))
            return false;
        text.remove_prefix(single ? 1 : 3);
    }
    return true;
}

bool is_scheme(string_view text)
{
    return !text.empty() && is_letter(text[0]) && std::all_of(text.begin(), text.end(), [](char c) {
        return is_letter(c) || is_digit(c) || c == '+' || c == '-' || c == '.';
    });
}

bool is_ipv6(string_view text)
{
    std::array<char, INET6_ADDRSTRLEN> terminated{};
    if (text.size() >= terminated.size())
        return false;
    text.copy(terminated.data(), text.size());
    in6_addr address;
    return inet_pton(AF_INET6, terminated.data(), &address) == 1;
}

bool is_port(string_view text)
{
    int value = 0;
    for (const char c : text) {
        if (!is_digit(c))
            return false;
        value = std::min(value * 10 + (c - '0'), largest_port + 1);
    }
    return value <= largest_port;
}

// Takes the text up to the first of `ends` off its front; all of it where there is none.
string_view take_until(string_view &text, string_view ends)
{
    const string_view taken = text.substr(0, text.find_first_of(ends));
    text.remove_prefix(taken.size());
    return taken;
}

int split_scheme(string_view &text, bool required, parts &into)
{
    const size_t end = text.find_first_of(":/?#");
    if (end == string_view::npos || text[end] != ':')
        return required ? URIPARSE_BAD_SCHEME : 0;
    into[scheme] = text.substr(0, end);
    text.remove_prefix(end + 1);
    return is_scheme(into[scheme]) ? 0 : URIPARSE_BAD_SCHEME;
}

int split_user(string_view &authority, parts &into)
{
    const size_t end = authority.find('@');
    if (end == string_view::npos)
        return 0;
    string_view text = authority.substr(0, end);
    authority.remove_prefix(end + 1);
    into[user] = take_until(text, ":");
    into[password] = text.substr(text.empty() ? 0 : 1);
    return is_made_of(into[user], "") && is_made_of(into[password], ":") ? 0 : URIPARSE_BAD_USER;
}

int split_host(string_view &authority, parts &into)
{
    if (!authority.starts_with('[')) {
        into[host] = take_until(authority, ":");
        return is_made_of(into[host], "") ? 0 : URIPARSE_BAD_HOST;
    }
    authority.remove_prefix(1);
    into[host] = take_until(authority, "]");
    if (authority.empty() || !is_ipv6(into[host]))
        return URIPARSE_BAD_HOST;
    authority.remove_prefix(1);
    return 0;
}

int split_port(string_view authority, parts &into)
{
    if (authority.empty())
        return 0;
    into[port] = authority.substr(1);
    return authority.starts_with(':') && is_port(into[port]) ? 0 : URIPARSE_BAD_PORT;
}

int split_authority(string_view &text, parts &into)
{
    if (!text.starts_with("//"))
        return 0;
    text.remove_prefix(2);
    string_view authority = take_until(text, "/?#");
    if (const int error = split_user(authority, into); error != 0)
        return error;
    if (const int error = split_host(authority, into); error != 0)
        return error;
    return split_port(authority, into);
}

// What is behind the authority.
int split_path(string_view text, parts &into)
{
    into[path] = take_until(text, "?#");
    if (!is_made_of(into[path], ":@/"))
        return URIPARSE_BAD_PATH;
    const string_view query = take_until(text, "#"); // with its '?', which it may hold anyway
    const string_view fragment = text.substr(text.empty() ? 0 : 1);
    return is_made_of(query, ":@/?") && is_made_of(fragment, ":@/?") ? 0 : URIPARSE_BAD_QUERY;
}

int split(string_view text, bool scheme_required, parts &into)
{
    if (const int error = split_scheme(text, scheme_required, into); error != 0)
        return error;
    if (const int error = split_authority(text, into); error != 0)
        return error;
    return split_path(text, into);
}

int store(const parts &all, string_pool &pool)
{
    if (std::all_of(all.begin(), all.end(), [&](string_view text) { return pool.append(text); }))
        return 0;
    pool.clear();
    return URIPARSE_NO_ROOM;
}

bool is_pool(const uriparse_pool &pool)
{
    return pool.magic == URIPARSE_POOL_MAGIC && pool.size == sizeof pool;
}

const char *string_of(const uriparse_pool *pool, part which)
{
    return is_pool(*pool) ? kiv_platform::string_of_pool(pool->area, sizeof pool->area, which) : "";
}

} // namespace

int uriparse_parse(const char *text, uriparse_pool *pool_header, int require_scheme) noexcept
{
    string_pool pool(pool_header->area, sizeof pool_header->area);
    if (!is_pool(*pool_header) || !pool.is_sound())
        return URIPARSE_BAD_POOL;
    pool.clear();
    parts all;
    const int error = split(text == nullptr ? "" : text, require_scheme != 0, all);
    return error != 0 ? error : store(all, pool);
}

const char *uriparse_scheme_get(const uriparse_pool *pool) noexcept
{
    return string_of(pool, scheme);
}

const char *uriparse_user_get(const uriparse_pool *pool) noexcept
{
    return string_of(pool, user);
}

const char *uriparse_password_get(const uriparse_pool *pool) noexcept
{
    return string_of(pool, password);
}

const char *uriparse_host_get(const uriparse_pool *pool) noexcept
{
    return string_of(pool, host);
}

const char *uriparse_port_get(const uriparse_pool *pool) noexcept
{
    return string_of(pool, port);
}

const char *uriparse_path_get(const uriparse_pool *pool) noexcept
{
    return string_of(pool, path);
}
