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

struct parsed_text {
    const char *text;
    const char *parts;
};

void expect_parts(const parsed_text &row, int require_scheme)
{
    uriparse_pool pool = new_pool();
    EXPECT_EQ(uriparse_parse(row.text, &pool, require_scheme), 0) << row.text;
    EXPECT_EQ(parts_in(pool), row.parts) << row.text;
}

TEST(UriParser, TakesUrisApart)
{
    constexpr parsed_text rows[] = {
        {"tftp://u:p@h:69/a/b", "tftp u p h 69 /a/b"},
        {"scp://u@h/", "scp u  h  /"},
        {"ftp://u:p:q:@h", "ftp u p:q: h  "},
        {"ftp://@h:/x", "ftp   h  /x"},
        {"ftp://:@:", "ftp     "},
        {"tftp://[fe80::1]:069/x", "tftp   fe80::1 069 /x"},
        {"HTTP://Host_1.%41~!$&'()*+,;=/", "HTTP   Host_1.%41~!$&'()*+,;=  /"},
        {"http://h:65535?q", "http   h 65535 "},
        {"http://h:00000000000000000080#f", "http   h 00000000000000000080 "},
        {"http://h/a//b?q?/@:#f?/@:", "http   h  /a//b"},
        {"bootflash:", "bootflash     "},
        {"bootflash:/a:b@c", "bootflash     /a:b@c"},
        {"bootflash:////a", "bootflash     //a"},
        {"x+1-.y:%2f%FF", "x+1-.y     %2f%FF"},
    };
    for (const parsed_text &row : rows) {
        expect_parts(row, 1);
        expect_parts(row, 0);
    }
}

TEST(UriParser, TakesReferencesWhereNoSchemeIsRequired)
{
    constexpr parsed_text rows[] = {
        {"", "     "},     {nullptr, "     "}, {"a/b:c", "     a/b:c"}, {"//h:1/x", "   h 1 /x"},
        {"?a:b", "     "}, {"#a:b", "     "},
    };
    for (const parsed_text &row : rows) {
        expect_parts(row, 0);
        uriparse_pool pool = new_pool();
        EXPECT_EQ(uriparse_parse(row.text, &pool, 1), URIPARSE_BAD_SCHEME);
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
        {URIPARSE_BAD_SCHEME, "a_b:x"},
        {URIPARSE_BAD_SCHEME, "\xC3\xA9:x"},
        {URIPARSE_BAD_USER, "a://u[@h"},
        {URIPARSE_BAD_USER, "a://u:p%4@h"},
        {URIPARSE_BAD_HOST, "a://u@v@h"},
        {URIPARSE_BAD_HOST, "a://h\x7F"},
        {URIPARSE_BAD_HOST, "a://[::1"},
        {URIPARSE_BAD_HOST, "a://[]"},
        {URIPARSE_BAD_HOST, "a://[1.2.3.4]"},
        {URIPARSE_BAD_HOST,
         "a://[1:2:3:4:5:6:7:00000000000000000000000000000000000000000000000000008]"},
        {URIPARSE_BAD_HOST, "a://]"},
        {URIPARSE_BAD_PORT, "http://h:65536"},
        {URIPARSE_BAD_PORT, "http://h:99999999999999999999999/"},
        {URIPARSE_BAD_PORT, "http://h:-1"},
        {URIPARSE_BAD_PORT, "a://::1/"},
        {URIPARSE_BAD_PORT, "a://[::1]x"},
        {URIPARSE_BAD_PATH, "a:b c"},
        {URIPARSE_BAD_PATH, "a:\\x"},
        {URIPARSE_BAD_PATH, "a:%4g"},
        {URIPARSE_BAD_PATH, "a:/\xC3\xA9"},
        {URIPARSE_BAD_QUERY, "a:?%"},
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
    } rows[] = {{10, 1016, 953}, {6, 47, 0}, {6, 48, 1}, {100, 1016, 593}};
    for (const auto &row : rows) {
        uriparse_pool pool = new_pool(row.limit, row.size);
        const std::string path(row.longest, 'x');
        EXPECT_EQ(uriparse_parse(("a:" + path).c_str(), &pool, 1), 0) << row.size;
        const uriparse_pool copy = pool;
        for (const size_t more : {1U, 2U, 100'000U}) {
            const std::string text = "a:" + path + std::string(more, 'y');
            EXPECT_EQ(uriparse_parse(text.c_str(), &pool, 1), URIPARSE_NO_ROOM) << more;
            EXPECT_EQ(parts_in(pool), no_parts);
        }
        EXPECT_EQ(parts_in(copy), "a     " + path) << "a copy holds its own";
    }
    uriparse_pool pool = new_pool(5);
    EXPECT_EQ(uriparse_parse("a:", &pool, 1), URIPARSE_NO_ROOM);
}

TEST(UriParser, RefusesMemoryThatIsNoPool)
{
    uint8_t few[16];
    EXPECT_EQ(sysmgr_strings_init(few, 0, 16), 0);
    EXPECT_EQ(sysmgr_strings_init(few, 0, 15), -1);
    EXPECT_EQ(sysmgr_strings_init(few, 1, 16), -1);
    EXPECT_EQ(sysmgr_strings_init(few, UINT32_MAX, 16), -1);

    uriparse_pool good = new_pool();
    ASSERT_EQ(uriparse_parse("a:b", &good, 1), 0);
    const auto expect_refused = [](uriparse_pool bad) {
        EXPECT_EQ(parts_in(bad), no_parts);
        EXPECT_EQ(uriparse_parse("a:b", &bad, 1), URIPARSE_BAD_POOL);
    };
    uriparse_pool bad = good;
    bad.magic ^= 1;
    expect_refused(bad);
    bad = good;
    bad.size = 1023;
    expect_refused(bad);
    // The words of the area in turn: its size, how many strings there may be and are, bytes in use.
    for (size_t word = 0; word < 4; ++word) {
        bad = good;
        std::memset(bad.area + 4 * word, 0xFF, 4);
        expect_refused(bad);
    }
    bad = good;
    std::memset(bad.area + 16, 0xFF, 40);
    EXPECT_EQ(parts_in(bad), no_parts) << "places of strings outside of the text";
    bad = good;
    std::memset(bad.area + 56, 'x', sizeof bad.area - 56);
    EXPECT_EQ(parts_in(bad), no_parts) << "text without an end";
}

TEST(Schemes, AreThoseOfTheSystemAndThoseOfTheShell)
{
    EXPECT_EQ(uri_map_get_uri_type_from_scheme("USB1"), uint32_t{URI_TYPE_USB1});
    EXPECT_EQ(uri_map_get_uri_type_from_scheme("Tftp"), 0x4U);
    for (const char *unknown : {"dm-lib", "tftpx", "", static_cast<const char *>(nullptr)})
        EXPECT_EQ(uri_map_get_uri_type_from_scheme(unknown), 0U);
    EXPECT_EQ(kiv_scheme_map_table[1].type, 0x20000U);
    EXPECT_EQ(kiv_get_uri_type_from_scheme("DM-Patch"), 0x40000U);
    for (const char *unknown : {"", "dm-", "dm-etc2", "tftp"})
        EXPECT_EQ(kiv_get_uri_type_from_scheme(unknown), 0U) << unknown;
    EXPECT_STREQ(kiv_get_scheme_from_uri_type(0x20000), kiv_scheme_map_table[1].scheme);
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
    EXPECT_EQ(kiv_uri_info_populate(&record, scheme, nullptr, nullptr, server_prefix, server_name,
                                    -7, path),
              0);
    return record;
}

TEST(UriInfo, HoldsTheParsedParts)
{
    uri_info record = full_record();
    EXPECT_EQ(kiv_xml_parse_uri(&record, "sFTP://u:p%40@[::1]:022/a"), 0);
    uri_info expected{.type = URI_TYPE_SFTP,
                      .scheme = "sFTP",
                      .user = "u",
                      .password = "p%40",
                      .server = "::1",
                      .server_prefix = "",
                      .port = 22,
                      .path = "/a"};
    EXPECT_EQ(bytes_of(record), bytes_of(expected));

    EXPECT_EQ(kiv_xml_parse_uri(&record, "dm-lib:a"), 0);
    expected = {};
    std::strcpy(expected.scheme, "dm-lib");
    std::strcpy(expected.path, "a");
    EXPECT_EQ(bytes_of(record), bytes_of(expected)) << "no type of the shell's own, no slash";
}

TEST(UriInfo, StaysAsItIsWhereParsingFails)
{
    uri_info record = full_record();
    const std::string too_long = "a:" + std::string(100'000, 'x');
    for (const char *text : {"", "nothing", "http://h:abc", "a:%zz", "a:\x01", too_long.c_str()})
        EXPECT_GT(kiv_xml_parse_uri(&record, text), 0) << text;
    EXPECT_EQ(kiv_xml_parse_uri(&record, nullptr), URIPARSE_BAD_SCHEME);
    EXPECT_EQ(bytes_of(record), bytes_of(full_record()));
}

TEST(UriInfo, CutsParsedPartsToTheirFields)
{
    const std::string word(40, 'w');
    const std::string name(70, 'n');
    const std::string path = "/" + std::string(300, 'p');
    uri_info record = full_record();
    const std::string text = word + "://" + word + ":" + word + "@" + name + path;
    EXPECT_EQ(kiv_xml_parse_uri(&record, text.c_str()), 0);
    EXPECT_EQ(record.scheme, word.substr(0, 31));
    EXPECT_EQ(record.user, word.substr(0, 31));
    EXPECT_EQ(record.password, word.substr(0, 31));
    EXPECT_EQ(record.server, name.substr(0, 63));
    EXPECT_EQ(record.path, path.substr(0, 255));
}

TEST(UriInfo, HoldsPiecesUpToTheirLimits)
{
    const std::string word(40, 'w');
    const std::string prefix(70, 'p');
    const std::string name(70, 'n');
    for (const size_t length : {1U, 30U, 31U, 40U}) {
        const std::string cut = word.substr(0, length);
        uri_info record;
        kiv_uri_info_populate(&record, cut.c_str(), cut.c_str(), cut.c_str(), nullptr, nullptr,
                              INT32_MIN, nullptr);
        const std::string expected = word.substr(0, std::min(length, size_t{30}));
        EXPECT_EQ(record.scheme, expected);
        EXPECT_EQ(record.user, expected);
        EXPECT_EQ(record.password, expected);
        EXPECT_EQ(record.port, INT32_MIN);
    }
    const struct {
        size_t prefix, name; // given
        size_t kept_prefix, joined_prefix, joined_name;
    } servers[] = {{3, 4, 3, 3, 4},   {62, 0, 62, 62, 0}, {63, 1, 62, 62, 1}, {70, 70, 62, 62, 1},
                   {0, 62, 0, 0, 62}, {0, 63, 0, 0, 62},  {1, 70, 1, 1, 62},  {30, 40, 30, 30, 33}};
    for (const auto &row : servers) {
        const uri_info record =
            populated("a", prefix.substr(0, row.prefix).c_str(), name.substr(0, row.name).c_str());
        EXPECT_EQ(record.server_prefix, prefix.substr(0, row.kept_prefix));
        EXPECT_EQ(record.server,
                  prefix.substr(0, row.joined_prefix) + name.substr(0, row.joined_name))
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
        {"/", "/"},
        {"//a", "//a"},
        {"images/a.bin", "/images/a.bin"},
        {"/images/a.bin", "/images/a.bin"},
        {path.c_str(), "/" + path.substr(0, 254)},
        {slashed.c_str(), slashed.substr(0, 254)},
    };
    for (const auto &row : rows)
        EXPECT_EQ(populated("a", nullptr, nullptr, row.given).path, row.kept);
}

TEST(UriInfo, HasTheTypeOfTheSystemElseOfTheShell)
{
    EXPECT_EQ(populated("DM-LIB").type, 0x00020000U);
    EXPECT_EQ(populated("TFTP").type, uint32_t{URI_TYPE_TFTP});
    EXPECT_EQ(populated("gopher").type, 0U);
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
}

TEST(UriInfo, TakesPiecesOfTheRecordItself)
{
    uri_info record = populated("a", "b", "c", "d");
    kiv_uri_info_populate(&record, record.path, record.server, record.scheme, record.path,
                          record.scheme, 1, record.server);
    EXPECT_STREQ(record.scheme, "/d");
    EXPECT_STREQ(record.user, "bc");
    EXPECT_STREQ(record.password, "a");
    EXPECT_STREQ(record.server, "/da");
    EXPECT_STREQ(record.path, "/bc");
}

std::string printed(const uri_info &record)
{
    return kiv_tests::printed([&] { EXPECT_EQ(kiv_uri_info_print(&record), 0); });
}

TEST(UriInfo, PrintsWhatIsSetButNoPassword)
{
    uri_info record{};
    EXPECT_EQ(printed(record), "");
    std::strcpy(record.scheme, "bootflash");
    std::strcpy(record.path, "/x");
    EXPECT_EQ(printed(record), " Scheme:bootflash  path:/x ");
    kiv_uri_info_populate(&record, "ftp", "u", "secret", "pre", "%s", -1, "p");
    EXPECT_EQ(printed(record), " type:2  Scheme:ftp  user:u  server:pre%s  port:-1  path:/p ");
    record.type = 0x80000001U;
    EXPECT_EQ(printed(record).substr(0, 18), " type:-2147483647 ");
}

TEST(UriInfo, IsReadNoFurtherThanItsFields)
{
    const uri_info record = full_record();
    const std::string word(32, 'x');
    const std::string server(64, 'x');
    EXPECT_EQ(printed(record), " type:2021161080  Scheme:" + word + "  user:" + word +
                                   "  server:" + server +
                                   "  port:2021161080  path:" + std::string(256, 'x') + " ");
    uri_info copy;
    kiv_uri_info_copy(&copy, &record);
    EXPECT_EQ(copy.scheme, word.substr(0, 30));
    EXPECT_EQ(copy.server, server.substr(0, 62));
    EXPECT_EQ(copy.path, "/" + std::string(254, 'x'));
}

TEST(UriInfoAssertions, NameTheParameterAndTheFile)
{
    uri_info record{};
    const auto populate = [](uri_info *into, const char *scheme) {
        kiv_uri_info_populate(into, scheme, nullptr, nullptr, nullptr, nullptr, 0, nullptr);
    };
    EXPECT_DEATH(populate(nullptr, nullptr),
                 failure("kiv_lib", "kiv_uri_info_populate", "uri_info"));
    EXPECT_DEATH(populate(&record, nullptr),
                 failure("kiv_lib", "kiv_get_uri_type_from_scheme", "scheme"));
    EXPECT_DEATH(kiv_uri_info_copy(nullptr, nullptr),
                 failure("kiv_lib", "kiv_uri_info_copy", "src_uri_info"));
    EXPECT_DEATH(kiv_xml_parse_uri(nullptr, "a:"),
                 failure("kiv_lib", "kiv_xml_parse_uri", "uri_info"));
    EXPECT_EQ(kiv_xml_parse_uri(nullptr, ""), URIPARSE_BAD_SCHEME);
}

} // namespace
