// The command lines of requests, to the blank, and the limits of their strings.

#include <cstring>
#include <string>

#include <gmock/gmock.h>

#include <kiv/kiv_exec_lib.h>

#include "observed.h"

namespace {

using builder = uint32_t (*)(kiv_system_info *, char *, size_t) noexcept;

// What tests say of a request; the rest is as usual.
struct request {
    int32_t type = KIV_EXEC_COMMAND;
    std::string file_name = {}, version = {}, out_file = {}, err_file = {}, bin_path = {};
    std::string cmd_str = "show";
    int32_t e_value = 0, q_value = 0, o_value = 0;
};

// A text that fills its field has no end.
template <size_t Size>
void fill(char (&field)[Size], const std::string &text)
{
    std::memcpy(field, text.data(), std::min(text.size(), Size));
}

struct built {
    uint32_t code;
    std::string line;
};

built build(builder create, const request &asked)
{
    kiv_system_info info{};
    info.type = asked.type;
    info.e_value = asked.e_value;
    info.q_value = asked.q_value;
    info.o_value = asked.o_value;
    fill(info.file_name, asked.file_name);
    fill(info.cmd_str, asked.cmd_str);
    fill(info.version, asked.version);
    fill(info.out_file, asked.out_file);
    fill(info.err_file, asked.err_file);
    fill(info.bin_path, asked.bin_path);
    char line[1024] = "untouched";
    const uint32_t code = create(&info, line, sizeof line);
    return {code, line};
}

TEST(CommandLine, HoldsTheWholeRequest)
{
    const struct {
        builder create;
        request asked;
        const char *line;
    } cases[] = {
        {kiv_system_cmd_str_create,
         {.version = "1.0", .err_file = "err"}, // neither means anything
         "/usr/sbin/kiv.bin  -c \"show\"  -e 0 -q 0 -o 0 "},
        {kiv_system_cmd_str_create,
         {.type = KIV_EXEC_CONFIG,
          .file_name = "/ubex/startup",
          .e_value = 0x8000,
          .q_value = -1,
          .o_value = INT32_MIN},
         "/usr/sbin/kiv.bin  -r /ubex/startup  -e 32768 -q -1 -o -2147483648 "},
        {kiv_system_cmd_str_create,
         {.type = KIV_EXEC_FILE, .file_name = "script", .out_file = "out", .err_file = "err"},
         "/usr/sbin/kiv.bin  -f script  -e 0 -q 0 -o 0  > out 2>err"},
        {kiv_system_cmd_str_create,
         {.out_file = "out", .bin_path = "env A=1 /bin/kiv"},
         "env A=1 /bin/kiv  -c \"show\"  -e 0 -q 0 -o 0  > out 2>&1"},
        {kiv_talvek_system_cmd_str_create,
         {.version = "1.0"},
         "/usr/sbin/kiv.bin -V '1.0'  -c \"show\"  -L -e 0 -q 0 -o 0 "},
        {kiv_talvek_system_cmd_str_create,
         {.version = "1.0", .bin_path = "/bin/kiv"},
         "/bin/kiv  -c \"show\"  -L -e 0 -q 0 -o 0 "},
        {kiv_talvek_system_cmd_str_create,
         {.type = KIV_EXEC_CONFIG, .file_name = "f", .out_file = "out", .err_file = "err"},
         "/usr/sbin/kiv.bin  -r f  -L -e 0 -q 0 -o 0  > out "},
    };
    for (const auto &row : cases) {
        const built result = build(row.create, row.asked);
        EXPECT_EQ(result.code, 0U) << row.line;
        EXPECT_EQ(result.line, row.line);
    }
}

TEST(CommandLine, RefusesStringsThatFillTheirField)
{
    const struct {
        builder create;
        size_t longest;
        request (*ask)(const std::string &text);
    } cases[] = {
        {kiv_system_cmd_str_create, 255, [](auto &text) { return request{.cmd_str = text}; }},
        {kiv_system_cmd_str_create, 127,
         [](auto &text) { return request{.type = KIV_EXEC_FILE, .file_name = text}; }},
        {kiv_system_cmd_str_create, 127, [](auto &text) { return request{.out_file = text}; }},
        {kiv_system_cmd_str_create, 127,
         [](auto &text) { return request{.out_file = "out", .err_file = text}; }},
        {kiv_system_cmd_str_create, 127, [](auto &text) { return request{.bin_path = text}; }},
        {kiv_talvek_system_cmd_str_create, 127,
         [](auto &text) { return request{.out_file = text}; }},
        {kiv_talvek_system_cmd_str_create, 127,
         [](auto &text) { return request{.version = text}; }},
    };
    for (const auto &row : cases) {
        const std::string longest(row.longest, 'a');
        const built fits = build(row.create, row.ask(longest));
        EXPECT_EQ(fits.code, 0U) << fits.line;
        EXPECT_THAT(fits.line, testing::HasSubstr(longest));
        const built over = build(row.create, row.ask(longest + 'a'));
        EXPECT_EQ(over.code, 0x4054001EU) << fits.line;
        EXPECT_EQ(over.line, "untouched");
    }
}

TEST(CommandLine, IsCutToTheCallersBufferAndTracedOnRequest)
{
    kiv_system_info info{};
    info.type = KIV_EXEC_COMMAND;
    info.debug = 1;
    char line[8] = "#######";
    const auto create = [&] { EXPECT_EQ(kiv_system_cmd_str_create(&info, line, 5), 0U); };
    EXPECT_EQ(kiv_tests::printed(create), "Command str:/usr\n");
    EXPECT_EQ(std::string(line, sizeof line), std::string("/usr\0##\0", 8));
    info.debug = 0;
    EXPECT_EQ(kiv_system_cmd_str_create(&info, nullptr, 0), 0U);
}

TEST(CommandLineDeathTest, ProgrammingErrorsAbort)
{
    kiv_system_info file{};
    file.type = KIV_EXEC_FILE;
    char line[16];
    EXPECT_DEATH(kiv_system_cmd_str_create(nullptr, line, 16),
                 kiv_tests::failure("kiv_exec_lib", "kiv_system_cmd_str_create", "info_p"));
    EXPECT_DEATH(kiv_talvek_system_cmd_str_create(&file, line, 16),
                 kiv_tests::failure("kiv_exec_lib", "kiv_talvek_system_cmd_str_create", "0"));
    EXPECT_DEATH(talvek_kiv_system_internal("x", 0, 1, "v"),
                 kiv_tests::failure("common", "talvek_kiv_system_internal", "0"));
}

} // namespace
