/*
 * uriparse.h - the parts of a URI, and the schemes that the system knows.
 *
 * A URI is read as the generic syntax of RFC 3986 has it:
 *
 *   SCHEME:[//[USER[:PASSWORD]@]HOST[:PORT]]PATH[?QUERY][#FRAGMENT]
 *
 * and refused where it is not of that form: characters outside of ASCII,
 * control characters and blanks, a '%' without two hexadecimal digits behind
 * it, a port that is no number or above 65535. Query and fragment are checked
 * and not kept. What is kept stands as it was written, percent-encoded and in
 * its case, with these rules:
 *
 *  - user and password are parted by the first ':' in front of the '@';
 *  - an IPv6 address stands in brackets, which are not part of the host, so
 *    that a host with a ':' in it is one; other literals in brackets are
 *    refused;
 *  - the path begins at the first '/' behind the host, or behind the ':' of
 *    the scheme where there is no "//": "bootflash:a.bin" has the path a.bin;
 *  - what is absent or empty is an empty string.
 *
 * The strings live in a pool, a block of the caller's that holds no pointers
 * and can be copied. Whoever makes one stores magic and size, and calls
 * sysmgr_strings_init(pool.area, URIPARSE_POOL_STRINGS, sizeof pool.area).
 */
#ifndef KIV_PLATFORM_URIPARSE_H
#define KIV_PLATFORM_URIPARSE_H

#include <kiv/platform/platform.h>

KIV_PLATFORM_BEGIN

#define URIPARSE_POOL_MAGIC 0xCF43DA4BU
#define URIPARSE_POOL_STRINGS 10

typedef struct uriparse_pool {
    uint32_t magic;
    uint32_t size; /* of the whole pool, in bytes */
    uint8_t area[1016];
} uriparse_pool;

/* What is wrong: the first of these in the text, from its start. */
enum uriparse_error {
    URIPARSE_BAD_POOL = 1, /* magic, size or area are not those of a pool */
    URIPARSE_BAD_SCHEME,   /* or none, where there must be one */
    URIPARSE_BAD_USER,
    URIPARSE_BAD_HOST,
    URIPARSE_BAD_PORT,
    URIPARSE_BAD_PATH,
    URIPARSE_BAD_QUERY, /* or fragment */
    URIPARSE_NO_ROOM    /* the strings do not fit the pool */
};

/* Makes an empty pool of up to `limit` strings in the `size` bytes at `pool`, of any alignment. A
 * pool takes 16 bytes, 4 for each string of the limit, and the strings with their NULs. Returns 0,
 * or -1 with nothing written where they are too few. */
KIV_PLATFORM_API int sysmgr_strings_init(void *pool, uint32_t limit,
                                         uint32_t size) KIV_PLATFORM_NOEXCEPT;

/* Parses `text`, of any length and not in the pool; null is an empty text. Where `require_scheme`
 * is 0, a relative reference (RFC 3986, section 4.2) will do. Returns 0, and the pool holds the
 * parts instead of what it held; or an error of enum uriparse_error, and it holds none. */
KIV_PLATFORM_API int uriparse_parse(const char *text, uriparse_pool *pool_header,
                                    int require_scheme) KIV_PLATFORM_NOEXCEPT;

/* Return a part of the text that was parsed last, which is valid as long as the pool is not
 * changed; an empty string where the pool holds none. Never null. */
KIV_PLATFORM_API const char *uriparse_scheme_get(const uriparse_pool *pool) KIV_PLATFORM_NOEXCEPT;
KIV_PLATFORM_API const char *uriparse_user_get(const uriparse_pool *pool) KIV_PLATFORM_NOEXCEPT;
KIV_PLATFORM_API const char *uriparse_password_get(const uriparse_pool *pool) KIV_PLATFORM_NOEXCEPT;
KIV_PLATFORM_API const char *uriparse_host_get(const uriparse_pool *pool) KIV_PLATFORM_NOEXCEPT;
KIV_PLATFORM_API const char *uriparse_port_get(const uriparse_pool *pool) KIV_PLATFORM_NOEXCEPT;
KIV_PLATFORM_API const char *uriparse_path_get(const uriparse_pool *pool) KIV_PLATFORM_NOEXCEPT;

/* The schemes of the system, one bit for each. The bits 0x00010000 to 0x00040000 are the shell's.
 *
 * X(name, code, scheme) */
#define URI_TYPE_TABLE(X)                                                                          \
    X(URI_TYPE_FILE, 0x00000001, "file")                                                           \
    X(URI_TYPE_FTP, 0x00000002, "ftp")                                                             \
    X(URI_TYPE_TFTP, 0x00000004, "tftp")                                                           \
    X(URI_TYPE_SCP, 0x00000008, "scp")                                                             \
    X(URI_TYPE_SFTP, 0x00000010, "sftp")                                                           \
    X(URI_TYPE_HTTP, 0x00000020, "http")                                                           \
    X(URI_TYPE_HTTPS, 0x00000040, "https")                                                         \
    X(URI_TYPE_BOOTFLASH, 0x00000080, "bootflash")                                                 \
    X(URI_TYPE_SLOT0, 0x00000100, "slot0")                                                         \
    X(URI_TYPE_VOLATILE, 0x00000200, "volatile")                                                   \
    X(URI_TYPE_NVRAM, 0x00000400, "nvram")                                                         \
    X(URI_TYPE_SYSTEM, 0x00000800, "system")                                                       \
    X(URI_TYPE_LOG, 0x00001000, "log")                                                             \
    X(URI_TYPE_CORE, 0x00002000, "core")                                                           \
    X(URI_TYPE_DEBUG, 0x00004000, "debug")                                                         \
    X(URI_TYPE_MODFLASH, 0x00008000, "modflash")                                                   \
    X(URI_TYPE_USB1, 0x00080000, "usb1")                                                           \
    X(URI_TYPE_USB2, 0x00100000, "usb2")

#define URI_TYPE_ENUMERATOR(name, code, scheme) name = code,
enum uri_type { URI_TYPE_TABLE(URI_TYPE_ENUMERATOR) };
#undef URI_TYPE_ENUMERATOR

/* Returns the type of a scheme, letters of either case alike, or 0 for one that is not in the table
 * and for null. */
KIV_PLATFORM_API uint32_t uri_map_get_uri_type_from_scheme(const char *scheme)
    KIV_PLATFORM_NOEXCEPT;

KIV_PLATFORM_END

#endif
