// The platform's parser of URIs, and the records that are made with it.

#include <cstring>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <kiv/kiv_lib.h>
#include <kiv/platform/uriparse.h>

#include "observed.h"

namespace {

using kiv_tests::bytes_of;

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
        {URIPARSE_BAD_USER, "a://u[@h"},
        {URIPARSE_BAD_USER, "a://u:p%4@h"},
        {URIPARSE_BAD_HOST, "a://[::1"},
        {URIPARSE_BAD_HOST, "a://[1.2.3.4]"},
        {URIPARSE_BAD_HOST,
         "a://[1:2:3:4:5:6:7:00000000000000000000000000000000000000000000000000008]"},
        {URIPARSE_BAD_PORT, "http://h:65536"},
        {URIPARSE_BAD_PORT, "http://h:99999999999999999999999/"},
        {URIPARSE_BAD_PORT, "a://[::1]x"},
        {URIPARSE_BAD_PATH, "a:b c"},
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
    } rows[] = {{10, 1016, 953}, {6, 47, 0}};
    for (const auto &row : rows) {
        uriparse_pool pool = new_pool(row.limit, row.size);
        const std::string text = "a:" + std::string(row.longest, 'x');
        EXPECT_EQ(uriparse_parse(text.c_str(), &pool, 1), 0) << row.size;
        const uriparse_pool copy = pool;
        EXPECT_EQ(uriparse_parse((text + "y").c_str(), &pool, 1), URIPARSE_NO_ROOM) << row.size;
        EXPECT_EQ(parts_in(pool), no_parts);
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
    // Its magic and size; the words of the area: size, limit, strings that there are, bytes in use.
    for (size_t word = 0; word < 6; ++word) {
        uriparse_pool bad = good;
        std::memset(reinterpret_cast<char *>(&bad) + 4 * word, 0xFF, 4);
        EXPECT_EQ(parts_in(bad), no_parts) << word;
        EXPECT_EQ(uriparse_parse("a:b", &bad, 1), URIPARSE_BAD_POOL) << word;
    }
    uriparse_pool bad = good;
    std::memset(bad.area + 16, 0xFF, 40);
    EXPECT_EQ(parts_in(bad), no_parts) << "places of strings outside of the text";
    bad = good;
    std::memset(bad.area + 56, 'x', sizeof bad.area - 56);
    EXPECT_EQ(parts_in(bad), no_parts) << "text without an end";
}

TEST(Schemes, AreThoseOfTheSystemAndThoseOfTheShell)
{
    EXPECT_EQ(uri_map_get_uri_type_from_scheme("Tftp"), 0x4U);
    EXPECT_EQ(uri_map_get_uri_type_from_scheme("dm-lib"), 0U);
    EXPECT_EQ(kiv_get_uri_type_from_scheme("DM-Patch"), 0x40000U);
    EXPECT_EQ(kiv_get_uri_type_from_scheme("tftp"), 0U);
    EXPECT_STREQ(kiv_get_scheme_from_uri_type(0x20000), "dm-lib");
    EXPECT_EQ(kiv_get_scheme_from_uri_type(0x30000), nullptr) << "no mask";
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
    EXPECT_DEATH(kiv_xml_parse_uri(nullptr, "a:"),
                 kiv_tests::failure("kiv_lib", "kiv_xml_parse_uri", "uri_info"));

    EXPECT_EQ(kiv_xml_parse_uri(&record, "dm-lib:a"), 0);
    EXPECT_EQ(record.type, 0U) << "none of the shell's own";
    EXPECT_STREQ(record.path, "a") << "no slash either";
    EXPECT_EQ(populated("DM-LIB").type, 0x00020000U);
    EXPECT_EQ(populated("TFTP").type, uint32_t{URI_TYPE_TFTP});
}

TEST(UriInfo, IsCutToItsFields)
{
    const std::string word(300, 'w');
    const std::string text = word + "://" + word + "/" + word;
    uri_info record;
    EXPECT_EQ(kiv_xml_parse_uri(&record, text.c_str()), 0);
    EXPECT_EQ(record.scheme, word.substr(0, 31));
    EXPECT_EQ(record.server, word.substr(0, 63));
    EXPECT_EQ(record.path, "/" + word.substr(0, 254));
    // Of pieces, a character less is kept.
    record = populated(word.c_str());
    for (const char *field : {record.scheme, record.user, record.password})
        EXPECT_EQ(field, word.substr(0, 30));
    const struct {
        size_t prefix, name; // given
        size_t kept_prefix, kept_name;
    } servers[] = {{3, 4, 3, 4}, {70, 70, 62, 1}, {1, 70, 1, 62}, {30, 40, 30, 33}};
    for (const auto &row : servers) {
        record = populated("a", std::string(row.prefix, 'p').c_str(),
                           std::string(row.name, 'n').c_str());
        EXPECT_EQ(record.server,
                  std::string(row.kept_prefix, 'p') + std::string(row.kept_name, 'n'))
            << row.prefix << " and " << row.name;
    }
    const std::string slashed = "/" + word;
    const std::pair<const char *, std::string> paths[] = {
        {nullptr, ""},
        {"", "/"},
        {"//a", "//a"},
        {"images/a.bin", "/images/a.bin"},
        {word.c_str(), slashed.substr(0, 255)},
        {slashed.c_str(), slashed.substr(0, 254)},
    };
    for (const auto &[given, kept] : paths)
        EXPECT_EQ(populated("a", nullptr, nullptr, given).path, kept);
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

} // namespace
