// The platform's parser of URIs, and the records that are made with it.

#include <algorithm>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <kiv/kiv_lib.h>
#include <kiv/platform/uriparse.h>

#include "observed.h"

namespace {

using kiv_tests::bytes_of;
using kiv_tests::failure;

uriparse_pool new_pool(uint32_t limit = URIPARSE_POOL_STRINGS, uint32_t size = 1016)
{
    uriparse_pool pool{};
    pool.magic = URIPARSE_POOL_MAGIC;
    pool.size = sizeof pool;
    EXPECT_EQ(sysmgr_strings_init(pool.area, limit, size), 0);
    return pool;
}

// All parts, with blanks between them: no part holds one.
std::string parts_in(const uriparse_pool &pool)
{
    std::string all = uriparse_scheme_get(&pool);
    for (const auto get : {uriparse_user_get, uriparse_password_get, uriparse_host_get,
                           uriparse_port_get, uriparse_path_get})
        all.append(" ").append(get(&pool));
    return all;
}

const std::string no_parts(5, ' ');

TEST(UriParser, TakesTextsApart)
{
    constexpr struct {
        const char *text;
        const char *parts;
    } rows[] = {
        {"tftp://u:p@h:69/a/b", "tftp u p h 69 /a/b"},
        {"ftp://u:p:q:@h", "ftp u p:q: h  "},
        {"ftp://:@:", "ftp     "},
        {"tftp://[fe80::1]:069/x", "tftp   fe80::1 069 /x"},
        {"HTTP://Host_1.%41~!$&'()*+,;=/", "HTTP   Host_1.%41~!$&'()*+,;=  /"},
        {"http://h:65535?q", "http   h 65535 "},
        {"http://h:00000000000000000080#f", "http   h 00000000000000000080 "},
        {"http://h/a//b?q?/@:#f?/@:", "http   h  /a//b"},
        {"bootflash:/a:b@c", "bootflash     /a:b@c"},
        {"bootflash:////a", "bootflash     //a"},
        {"x+1-.y:%2f%FF", "x+1-.y     %2f%FF"},
        // Without a scheme, where none is required.
        {nullptr, "     "},
        {"a/b:c", "     a/b:c"},
        {"//h:1/x", "   h 1 /x"},
        {"?a:b", "     "},
    };
    for (const auto &row : rows) {
        uriparse_pool pool = new_pool();
        EXPECT_EQ(uriparse_parse(row.text, &pool, 0), 0) << row.text;
        EXPECT_EQ(parts_in(pool), row.parts) << row.text;
        EXPECT_EQ(uriparse_parse(row.text, &pool, 1), *row.parts == ' ' ? URIPARSE_BAD_SCHEME : 0);
    }
}

TEST(UriParser, RefusesWhatIsNoUri)
{
    constexpr struct {
        int error;
        const char *text;
    } rows[] = {
        {URIPARSE_BAD_SCHEME, ":x"},
        {URIPARSE_BAD_SCHEME, "1a:x"},
        {URIPARSE_BAD_SCHEME, "\xC3\xA9:x"},
        {URIPARSE_BAD_USER, "a://u[@h"},
        {URIPARSE_BAD_USER, "a://u:p%4@h"},
        {URIPARSE_BAD_HOST, "a://u@v@h"},
        {URIPARSE_BAD_HOST, "a://[::1"},
        {URIPARSE_BAD_HOST, "a://[1.2.3.4]"},
        {URIPARSE_BAD_HOST,
         "a://[1:2:3:4:5:6:7:00000000000000000000000000000000000000000000000000008]"},
        {URIPARSE_BAD_PORT, "http://h:65536"},
        {URIPARSE_BAD_PORT, "http://h:99999999999999999999999/"},
        {URIPARSE_BAD_PORT, "a://[::1]x"},
        {URIPARSE_BAD_PATH, "a:b c"},
        {URIPARSE_BAD_PATH, "a:%4g"},
        {URIPARSE_BAD_QUERY, "a:?[#x"},
        {URIPARSE_BAD_QUERY, "a:#x#y"},
    };
    for (const auto &row : rows) {
        uriparse_pool pool = new_pool();
        EXPECT_EQ(uriparse_parse("a://b@c", &pool, 1), 0);
        EXPECT_EQ(uriparse_parse(row.text, &pool, 1), row.error) << row.text;
        EXPECT_EQ(parts_in(pool), no_parts) << "not even those of an earlier text";
    }
}

TEST(UriParser, FillsAPoolToItsLastByte)
{
    constexpr struct {
        uint32_t limit;
        uint32_t size;
        size_t longest; // path behind "a:"
    } rows[] = {{10, 1016, 953}, {6, 47, 0}, {6, 48, 1}};
    for (const auto &row : rows) {
        uriparse_pool pool = new_pool(row.limit, row.size);
        const std::string text = "a:" + std::string(row.longest, 'x');
        EXPECT_EQ(uriparse_parse(text.c_str(), &pool, 1), 0) << row.size;
        const uriparse_pool copy = pool;
        for (const size_t more : {1U, 100'000U}) {
            const std::string longer = text + std::string(more, 'y');
            EXPECT_EQ(uriparse_parse(longer.c_str(), &pool, 1), URIPARSE_NO_ROOM) << more;
            EXPECT_EQ(parts_in(pool), no_parts);
        }
        EXPECT_EQ(parts_in(copy), "a     " + text.substr(2)) << "a copy holds its own";
    }
    uriparse_pool pool = new_pool(5);
    EXPECT_EQ(uriparse_parse("a:", &pool, 1), URIPARSE_NO_ROOM) << "too few strings";
}

TEST(UriParser, RefusesMemoryThatIsNoPool)
{
    uint8_t few[16];
    EXPECT_EQ(sysmgr_strings_init(few, 0, 16), 0);
    EXPECT_EQ(sysmgr_strings_init(few, 0, 15), -1);
    EXPECT_EQ(sysmgr_strings_init(few, UINT32_MAX, 16), -1);

    uriparse_pool good = new_pool();
    ASSERT_EQ(uriparse_parse("a:b", &good, 1), 0);
    constexpr size_t area = offsetof(uriparse_pool, area);
    constexpr struct {
        const char *what;
        size_t offset, size;
        bool parse_refuses;
    } rows[] = {
        {"magic", offsetof(uriparse_pool, magic), 4, true},
        {"size", offsetof(uriparse_pool, size), 4, true},
        {"size of the area", area, 4, true},
        {"limit", area + 4, 4, true},
        {"strings that there are", area + 8, 4, true},
        {"bytes in use", area + 12, 4, true},
        {"places of strings outside of the text", area + 16, 40, false},
        {"text without an end", area + 56, sizeof good.area - 56, false},
    };
    for (const auto &row : rows) {
        uriparse_pool bad = good;
        std::memset(reinterpret_cast<char *>(&bad) + row.offset, 0xFF, row.size);
        EXPECT_EQ(parts_in(bad), no_parts) << row.what;
        EXPECT_EQ(uriparse_parse("a:b", &bad, 1), row.parse_refuses ? URIPARSE_BAD_POOL : 0)
            << row.what;
    }
}

TEST(Schemes, AreThoseOfTheSystemAndThoseOfTheShell)
{
    EXPECT_EQ(uri_map_get_uri_type_from_scheme("Tftp"), 0x4U);
    for (const char *unknown : {"dm-lib", "tftpx", static_cast<const char *>(nullptr)})
        EXPECT_EQ(uri_map_get_uri_type_from_scheme(unknown), 0U);
    EXPECT_EQ(kiv_get_uri_type_from_scheme("DM-Patch"), 0x40000U);
    for (const char *unknown : {"dm-", "dm-etc2", "tftp"})
        EXPECT_EQ(kiv_get_uri_type_from_scheme(unknown), 0U) << unknown;
    EXPECT_STREQ(kiv_get_scheme_from_uri_type(0x20000), "dm-lib");
    for (const uint32_t unknown : {0U, 0x30000U, 0x4U})
        EXPECT_EQ(kiv_get_scheme_from_uri_type(unknown), nullptr) << unknown;
}

uri_info full_record()
{
    uri_info record;
    std::memset(&record, 'x', sizeof record);
    return record;
}

uri_info populated(const char *scheme, const char *server_prefix = nullptr,
                   const char *server_name = nullptr, const char *path = nullptr)
{
    uri_info record = full_record();
    EXPECT_EQ(kiv_uri_info_populate(&record, scheme, scheme, scheme, server_prefix, server_name, -7,
                                    path),
              0);
    return record;
}

std::string printed(const uri_info &record)
{
    return kiv_tests::printed([&] { EXPECT_EQ(kiv_uri_info_print(&record), 0); });
}

TEST(UriInfo, HoldsTheParsedParts)
{
    uri_info record = full_record();
    EXPECT_EQ(kiv_xml_parse_uri(&record, "sFTP://u:p%40@[::1]:022/a"), 0);
    const uri_info expected{.type = URI_TYPE_SFTP,
                            .scheme = "sFTP",
                            .user = "u",
                            .password = "p%40",
                            .server = "::1",
                            .server_prefix = "",
                            .port = 22,
                            .path = "/a"};
    EXPECT_EQ(bytes_of(record), bytes_of(expected));

    for (const char *text : {"", "nothing", "http://h:abc", static_cast<const char *>(nullptr)})
        EXPECT_GT(kiv_xml_parse_uri(&record, text), 0) << text;
    EXPECT_EQ(bytes_of(record), bytes_of(expected)) << "stays where parsing fails";

    EXPECT_EQ(kiv_xml_parse_uri(&record, "dm-lib:a"), 0);
    EXPECT_EQ(record.type, 0U) << "none of the shell's own";
    EXPECT_STREQ(record.path, "a") << "no slash either";
    EXPECT_EQ(populated("DM-LIB").type, 0x00020000U);
    EXPECT_EQ(populated("TFTP").type, uint32_t{URI_TYPE_TFTP});
}

TEST(UriInfo, IsCutToItsFields)
{
    const std::string long_word(300, 'w');
    const std::string text = long_word + "://" + long_word + "/" + long_word;
    uri_info parsed;
    EXPECT_EQ(kiv_xml_parse_uri(&parsed, text.c_str()), 0);
    EXPECT_EQ(parsed.scheme, long_word.substr(0, 31));
    EXPECT_EQ(parsed.server, long_word.substr(0, 63));
    EXPECT_EQ(parsed.path, "/" + long_word.substr(0, 254));
    // Of pieces, a character less is kept.
    for (const size_t length : {30U, 31U, 40U}) {
        const std::string word(length, 'w');
        const uri_info record = populated(word.c_str());
        for (const char *field : {record.scheme, record.user, record.password})
            EXPECT_EQ(field, word.substr(0, 30));
    }
    const struct {
        size_t prefix, name; // given
        size_t kept_prefix, kept_name;
    } servers[] = {{3, 4, 3, 4},   {63, 1, 62, 1}, {70, 70, 62, 1},
                   {0, 63, 0, 62}, {1, 70, 1, 62}, {30, 40, 30, 33}};
    for (const auto &row : servers) {
        const uri_info record = populated("a", std::string(row.prefix, 'p').c_str(),
                                          std::string(row.name, 'n').c_str());
        const std::string prefix(row.kept_prefix, 'p');
        EXPECT_EQ(record.server_prefix, prefix);
        EXPECT_EQ(record.server, prefix + std::string(row.kept_name, 'n'))
            << row.prefix << " and " << row.name;
    }
}

TEST(UriInfo, HoldsAPathBehindASlash)
{
    const std::string path(300, 'p');
    const std::string slashed = "/" + path;
    const struct {
        const char *given;
        std::string kept;
    } rows[] = {
        {nullptr, ""},
        {"", "/"},
        {"//a", "//a"},
        {"images/a.bin", "/images/a.bin"},
        {path.c_str(), "/" + path.substr(0, 254)},
        {slashed.c_str(), slashed.substr(0, 254)},
    };
    for (const auto &row : rows)
        EXPECT_EQ(populated("a", nullptr, nullptr, row.given).path, row.kept);
}

TEST(UriInfo, CopiesByPopulating)
{
    uri_info source = populated("dm-etc", "prefix.", "name", "/a");
    source.type = 7;
    uri_info copy = full_record();
    EXPECT_EQ(kiv_uri_info_copy(&copy, &source), 0);
    const uri_info expected = populated("dm-etc", "", "prefix.name", "/a");
    EXPECT_EQ(bytes_of(copy), bytes_of(expected));
    EXPECT_EQ(kiv_uri_info_copy(&source, &source), 0);
    EXPECT_EQ(bytes_of(source), bytes_of(expected)) << "onto itself";

    source = {};
    kiv_uri_info_copy(&copy, &source);
    EXPECT_STREQ(copy.path, "/") << "an empty path is not a null one";
    source = full_record();
    kiv_uri_info_copy(&copy, &source);
    EXPECT_EQ(copy.server, std::string(62, 'x')) << "a field without an end";
    EXPECT_EQ(copy.path, "/" + std::string(254, 'x'));

    uri_info record = populated("a", "b", "c", "d");
    kiv_uri_info_populate(&record, record.path, record.server, record.scheme, record.path,
                          record.scheme, 1, record.server);
    EXPECT_EQ(printed(record), " Scheme:/d  user:bc  server:/da  port:1  path:/bc ")
        << "from pieces of the record itself";
}

TEST(UriInfo, PrintsWhatIsSetButNoPassword)
{
    uri_info record{};
    EXPECT_EQ(printed(record), "");
    kiv_uri_info_populate(&record, "ftp", "u", "secret", "pre", "%s", -1, "p");
    EXPECT_EQ(printed(record), " type:2  Scheme:ftp  user:u  server:pre%s  port:-1  path:/p ");
    const std::string word(32, 'x');
    EXPECT_EQ(printed(full_record()), " type:2021161080  Scheme:" + word + "  user:" + word +
                                          "  server:" + word + word +
                                          "  port:2021161080  path:" + std::string(256, 'x') + " ")
        << "no further than its fields";
}

TEST(UriInfoAssertions, NameTheParameterAndTheFile)
{
    uri_info record{};
    EXPECT_DEATH(kiv_uri_info_populate(&record, nullptr, "", "", "", "", 0, ""),
                 failure("kiv_lib", "kiv_get_uri_type_from_scheme", "scheme"));
    EXPECT_DEATH(kiv_uri_info_copy(nullptr, nullptr),
                 failure("kiv_lib", "kiv_uri_info_copy", "src_uri_info"));
    EXPECT_DEATH(kiv_xml_parse_uri(nullptr, "a:"),
                 failure("kiv_lib", "kiv_xml_parse_uri", "uri_info"));
    EXPECT_EQ(kiv_xml_parse_uri(nullptr, ""), URIPARSE_BAD_SCHEME);
}

} // namespace
