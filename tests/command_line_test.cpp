// The command lines of requests, to the blank, and the limits of their strings.

#include <cstring>
#include <functional>
#include <string>

#include <gmock/gmock.h>

#include <kiv/kiv_exec_lib.h>

#include "observed.h"

namespace {

using builder = uint32_t (*)(kiv_system_info *, char *, size_t) noexcept;

struct built {
    uint32_t code;
    std::string line;
};

template <size_t Size>
void fill(char (&field)[Size], const std::string &text)
{
    std::memset(field, 0, Size);
    std::memcpy(field, text.data(), std::min(text.size(), Size));
}

built build(builder create, const std::function<void(kiv_system_info &)> &prepare)
{
    kiv_system_info info{};
    info.type = KIV_EXEC_COMMAND;
    fill(info.cmd_str, "show running-config");
    prepare(info);
    char line[1024];
    std::memset(line, '#', sizeof line);
    line[sizeof line - 1] = '\0';
    const uint32_t code = create(&info, line, sizeof line - 1);
    return {code, line};
}

struct line_case {
    const char *what;
    std::function<void(kiv_system_info &)> prepare;
    const char *line;
};

void expect_lines(builder create, const std::vector<line_case> &cases)
{
    for (const line_case &row : cases) {
        const built result = build(create, row.prepare);
        EXPECT_EQ(result.code, 0U) << row.what;
        EXPECT_EQ(result.line, row.line) << row.what;
    }
}

TEST(CommandLine, HoldsTheWholeRequest)
{
    const auto config = [](kiv_system_info &info) {
        info.type = KIV_EXEC_CONFIG;
        fill(info.file_name, "/ubex/startup");
        info.e_value = 0x8000;
        info.q_value = -1;
        info.o_value = INT32_MIN;
    };
    expect_lines(
        kiv_system_cmd_str_create,
        {{"command", [](auto &) {},
          "/usr/sbin/kiv.bin  -c \"show running-config\"  -e 0 -q 0 -o 0 "},
         {"configuration file and values", config,
          "/usr/sbin/kiv.bin  -r /ubex/startup  -e 32768 -q -1 -o -2147483648 "},
         {"file of commands, both streams",
          [](auto &info) {
              info.type = KIV_EXEC_FILE;
              fill(info.file_name, "/ubex/script");
              fill(info.out_file, "out");
              fill(info.err_file, "err");
          },
          "/usr/sbin/kiv.bin  -f /ubex/script  -e 0 -q 0 -o 0  > out 2>err"},
         {"one stream", [](auto &info) { fill(info.out_file, "out"); },
          "/usr/sbin/kiv.bin  -c \"show running-config\"  -e 0 -q 0 -o 0  > out 2>&1"},
         {"errors alone are not redirected", [](auto &info) { fill(info.err_file, "err"); },
          "/usr/sbin/kiv.bin  -c \"show running-config\"  -e 0 -q 0 -o 0 "},
         {"own binary, version without meaning",
          [](auto &info) {
              fill(info.bin_path, "env A=1 /bin/kiv");
              fill(info.version, "1.0");
          },
          "env A=1 /bin/kiv  -c \"show running-config\"  -e 0 -q 0 -o 0 "}});
}

TEST(CommandLine, OfTheTalvekFormMarksThePeer)
{
    expect_lines(kiv_talvek_system_cmd_str_create,
                 {{"command", [](auto &) {},
                   "/usr/sbin/kiv.bin  -c \"show running-config\"  -L -e 0 -q 0 -o 0 "},
                  {"version", [](auto &info) { fill(info.version, "1.0"); },
                   "/usr/sbin/kiv.bin -V '1.0'  -c \"show running-config\"  -L -e 0 -q 0 -o 0 "},
                  {"own binary takes no version",
                   [](auto &info) {
                       fill(info.version, "1.0");
                       fill(info.bin_path, "/bin/kiv");
                   },
                   "/bin/kiv  -c \"show running-config\"  -L -e 0 -q 0 -o 0 "},
                  {"configuration file, output only",
                   [](auto &info) {
                       info.type = KIV_EXEC_CONFIG;
                       fill(info.file_name, "f");
                       fill(info.out_file, "out");
                       fill(info.err_file, "err");
                   },
                   "/usr/sbin/kiv.bin  -r f  -L -e 0 -q 0 -o 0  > out "}});
}

TEST(CommandLine, RefusesStringsThatFillTheirField)
{
    struct limit_case {
        const char *field;
        builder create;
        size_t longest;
        std::function<void(kiv_system_info &, const std::string &)> store;
    };
    const auto file = [](kiv_system_info &info, const std::string &text) {
        info.type = KIV_EXEC_CONFIG;
        fill(info.file_name, text);
    };
    const auto output = [](kiv_system_info &info, const std::string &text) {
        fill(info.out_file, text);
    };
    const auto error = [](kiv_system_info &info, const std::string &text) {
        fill(info.out_file, std::string(127, 'o'));
        fill(info.err_file, text);
    };
    const limit_case cases[] = {
        {"cmd_str", kiv_system_cmd_str_create, 255,
         [](auto &info, const auto &text) { fill(info.cmd_str, text); }},
        {"file_name", kiv_system_cmd_str_create, 127, file},
        {"out_file", kiv_system_cmd_str_create, 127, output},
        {"err_file", kiv_system_cmd_str_create, 127, error},
        {"bin_path", kiv_system_cmd_str_create, 127,
         [](auto &info, const auto &text) { fill(info.bin_path, text); }},
        {"talvek file_name", kiv_talvek_system_cmd_str_create, 127, file},
        {"talvek out_file", kiv_talvek_system_cmd_str_create, 127, output},
        {"talvek version", kiv_talvek_system_cmd_str_create, 127,
         [](auto &info, const auto &text) { fill(info.version, text); }},
    };
    for (const limit_case &row : cases) {
        const std::string longest(row.longest, 'a');
        const built fits = build(row.create, [&](auto &info) { row.store(info, longest); });
        EXPECT_EQ(fits.code, 0U) << row.field;
        EXPECT_THAT(fits.line, testing::HasSubstr(longest)) << row.field;
        const built over = build(row.create, [&](auto &info) { row.store(info, longest + 'a'); });
        EXPECT_EQ(over.code, 0x4054001EU) << row.field;
        EXPECT_EQ(over.line, std::string(1023, '#')) << row.field << ": something was written";
    }
}

TEST(CommandLine, IsCutToTheCallersBuffer)
{
    kiv_system_info info{};
    info.type = KIV_EXEC_COMMAND;
    char line[8] = "#######";
    EXPECT_EQ(kiv_system_cmd_str_create(&info, line, 5), 0U);
    EXPECT_EQ(std::string(line, sizeof line), std::string("/usr\0##\0", 8));
    EXPECT_EQ(kiv_system_cmd_str_create(&info, nullptr, 0), 0U);
}

TEST(CommandLine, IsTracedOnRequest)
{
    kiv_system_info info{};
    info.type = KIV_EXEC_COMMAND;
    info.debug = 1;
    char line[8];
    testing::internal::CaptureStdout();
    kiv_talvek_system_cmd_str_create(&info, line, sizeof line);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Command str:/usr/sb\n");
}

kiv_system_info typed(int32_t type)
{
    kiv_system_info info{};
    info.type = type;
    return info;
}

TEST(CommandLineDeathTest, ProgrammingErrorsAbort)
{
    static kiv_system_info unknown = typed(4);
    static kiv_system_info file = typed(KIV_EXEC_FILE);
    static char line[16];
    const struct {
        const char *source;
        const char *function;
        const char *expression;
        void (*call)();
    } cases[] = {
        {"kiv_exec_lib", "kiv_system_cmd_str_create", "info_p",
         [] { kiv_system_cmd_str_create(nullptr, line, 16); }},
        {"kiv_exec_lib", "kiv_talvek_system_cmd_str_create", "0",
         [] { kiv_talvek_system_cmd_str_create(&file, line, 16); }},
        {"kiv_exec_lib", "kiv_system_cmd_str_create", "0", [] { kiv_system_execute(&unknown); }},
        {"common", "kiv_system_internal", "0", [] { kiv_system_internal("x", 4, 1); }},
        {"common", "talvek_kiv_system_internal", "0",
         [] { talvek_kiv_system_internal("x", 0, 1, "v"); }},
    };
    for (const auto &row : cases)
        EXPECT_DEATH(row.call(), kiv_tests::failure(row.source, row.function, row.expression));
}

} // namespace
