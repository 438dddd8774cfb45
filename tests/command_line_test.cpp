// The command lines of requests, to the blank, and the limits of their strings.

#include <cstddef>
#include <cstring>
#include <string>

#include <gmock/gmock.h>

#include <kiv/kiv_exec_lib.h>

#include "observed.h"

namespace {

using builder = uint32_t (*)(kiv_system_info *, char *, size_t) noexcept;

// The line, or the code in its place.
std::string built(builder create, kiv_system_info info)
{
    char line[1024] = "untouched";
    const uint32_t code = create(&info, line, sizeof line);
    return code == 0 ? line : std::to_string(code) + " " + line;
}

TEST(CommandLine, HoldsTheWholeRequest)
{
    kiv_system_info info{};
    info.type = KIV_EXEC_COMMAND;
    std::strcpy(info.cmd_str, "show");
    std::strcpy(info.version, "1.0");
    std::strcpy(info.err_file, "err"); // without an output, it means nothing
    EXPECT_EQ(built(kiv_system_cmd_str_create, info),
              "/usr/sbin/kiv.bin  -c \"show\"  -e 0 -q 0 -o 0 ");
    EXPECT_EQ(built(kiv_talvek_system_cmd_str_create, info),
              "/usr/sbin/kiv.bin -V '1.0'  -c \"show\"  -L -e 0 -q 0 -o 0 ");
    info.type = KIV_EXEC_CONFIG;
    info.e_value = 0x8000;
    info.q_value = -1;
    info.o_value = INT32_MIN;
    std::strcpy(info.file_name, "startup");
    std::strcpy(info.out_file, "out");
    std::strcpy(info.bin_path, "env A=1 /bin/kiv");
    EXPECT_EQ(built(kiv_system_cmd_str_create, info),
              "env A=1 /bin/kiv  -r startup  -e 32768 -q -1 -o -2147483648  > out 2>err");
    EXPECT_EQ(built(kiv_talvek_system_cmd_str_create, info),
              "env A=1 /bin/kiv  -r startup  -L -e 32768 -q -1 -o -2147483648  > out ");
    info.type = KIV_EXEC_FILE;
    *info.err_file = '\0';
    EXPECT_EQ(built(kiv_system_cmd_str_create, info),
              "env A=1 /bin/kiv  -f startup  -e 32768 -q -1 -o -2147483648  > out 2>&1");
}

TEST(CommandLine, RefusesStringsThatFillTheirField)
{
    const struct {
        builder create;
        int32_t type;
        size_t field;
        size_t longest;
    } cases[] = {
        {kiv_system_cmd_str_create, KIV_EXEC_COMMAND, offsetof(kiv_system_info, cmd_str), 255},
        {kiv_system_cmd_str_create, KIV_EXEC_FILE, offsetof(kiv_system_info, file_name), 127},
        {kiv_system_cmd_str_create, KIV_EXEC_FILE, offsetof(kiv_system_info, out_file), 127},
        {kiv_system_cmd_str_create, KIV_EXEC_FILE, offsetof(kiv_system_info, err_file), 127},
        {kiv_system_cmd_str_create, KIV_EXEC_FILE, offsetof(kiv_system_info, bin_path), 127},
        {kiv_talvek_system_cmd_str_create, KIV_EXEC_CONFIG, offsetof(kiv_system_info, out_file),
         127},
        {kiv_talvek_system_cmd_str_create, KIV_EXEC_CONFIG, offsetof(kiv_system_info, version),
         127},
    };
    for (const auto &row : cases) {
        kiv_system_info info{};
        info.type = row.type;
        *info.out_file = 'o';
        char *field = reinterpret_cast<char *>(&info) + row.field;
        std::memset(field, 'a', row.longest);
        EXPECT_THAT(built(row.create, info), testing::HasSubstr(std::string(row.longest, 'a')));
        field[row.longest] = 'a';
        EXPECT_EQ(built(row.create, info), std::to_string(0x4054001E) + " untouched") << row.field;
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
    info.type = KIV_EXEC_FILE;
    EXPECT_DEATH(kiv_talvek_system_cmd_str_create(&info, line, 8),
                 kiv_tests::failure("kiv_exec_lib", "kiv_talvek_system_cmd_str_create", "0"));
    EXPECT_DEATH(talvek_kiv_system_internal("x", 0, 1, "v"),
                 kiv_tests::failure("common", "talvek_kiv_system_internal", "0"));
}

} // namespace
