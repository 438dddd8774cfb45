// The shell's command line for a request record.

#include <algorithm>
#include <cstddef>
#include <cstdio>

#include <kiv/kiv_exec_lib.h>

#include "common/text.h"
#include "shell_paths.h"

static_assert(sizeof(kiv_system_info) == 1044);
static_assert(offsetof(kiv_system_info, file_name) == 4);
static_assert(offsetof(kiv_system_info, cmd_str) == 132);
static_assert(offsetof(kiv_system_info, version) == 388);
static_assert(offsetof(kiv_system_info, out_file) == 644);
static_assert(offsetof(kiv_system_info, err_file) == 772);
static_assert(offsetof(kiv_system_info, bin_path) == 900);
static_assert(offsetof(kiv_system_info, e_value) == 1028);
static_assert(offsetof(kiv_system_info, q_value) == 1032);
static_assert(offsetof(kiv_system_info, o_value) == 1036);
static_assert(offsetof(kiv_system_info, debug) == 1040);

namespace {

constexpr size_t version_limit = 128;

// A line put together from texts and the fields of a request; whether a field was too long is
// asked once, at the end. The buffer holds the longest line that the fields can give.
class command_line {
public:
    command_line &text(std::string_view piece)
    {
        line_.append(piece);
        return *this;
    }

    template <size_t Size>
    command_line &field(const char (&content)[Size])
    {
        too_long_ |= kiv::is_open(content);
        return text(kiv::field_text(content));
    }

    command_line &version(const kiv_system_info &info)
    {
        too_long_ |= kiv::field_text(info.version).size() >= version_limit;
        return text(kiv::field_text(info.version));
    }

    command_line &option(std::string_view flag, int32_t value)
    {
        line_.append(flag).append(value);
        return *this;
    }

    uint32_t write(const kiv_system_info &info, char *dst, size_t n) const
    {
        if (too_long_)
            return KIV_ERROR_COMMAND_TOO_LONG;
        if (n > 0) {
            const size_t length = std::min(line_.length(), n - 1);
            std::memcpy(dst, line_.c_str(), length);
            dst[length] = '\0';
        }
        if (info.debug != 0)
            std::printf("Command str:%s\n", n > 0 ? dst : "");
        return 0;
    }

private:
    kiv::fixed_text<1024> line_;
    bool too_long_ = false;
};

void put_binary(command_line &line, const kiv_system_info &info)
{
    if (*info.bin_path != '\0')
        line.field(info.bin_path);
    else
        line.text(kiv::shell_binary);
}

void put_talvek_binary(command_line &line, const kiv_system_info &info)
{
    put_binary(line, info);
    if (*info.bin_path == '\0' && *info.version != '\0')
        line.text(" -V '").version(info).text("'");
}

void put_operand(command_line &line, const kiv_system_info &info)
{
    if (info.type == KIV_EXEC_COMMAND)
        line.text(" -c \"").field(info.cmd_str).text("\" ");
    else
        line.text(info.type == KIV_EXEC_FILE ? " -f " : " -r ").field(info.file_name).text(" ");
}

void put_values(command_line &line, const kiv_system_info &info)
{
    line.option(" -e ", info.e_value).option(" -q ", info.q_value).option(" -o ", info.o_value);
}

void put_redirection(command_line &line, const kiv_system_info &info)
{
    if (*info.out_file == '\0')
        return;
    line.text(" > ").field(info.out_file);
    if (*info.err_file != '\0')
        line.text(" 2>").field(info.err_file);
    else
        line.text(" 2>&1");
}

void put_talvek_redirection(command_line &line, const kiv_system_info &info)
{
    if (*info.out_file != '\0')
        line.text(" > ").field(info.out_file).text(" ");
}

} // namespace

uint32_t kiv_system_cmd_str_create(kiv_system_info *info_p, char *dst, size_t n) noexcept
{
    KIV_ASSERT("kiv_exec_lib", info_p);
    const int32_t type = info_p->type;
    KIV_ASSERT_TEXT("kiv_exec_lib",
                    type == KIV_EXEC_COMMAND || type == KIV_EXEC_FILE || type == KIV_EXEC_CONFIG,
                    "0");
    command_line line;
    put_binary(line, *info_p);
    line.text(" ");
    put_operand(line, *info_p);
    put_values(line, *info_p);
    line.text(" ");
    put_redirection(line, *info_p);
    return line.write(*info_p, dst, n);
}

uint32_t kiv_talvek_system_cmd_str_create(kiv_system_info *info_p, char *dst, size_t n) noexcept
{
    KIV_ASSERT("kiv_exec_lib", info_p);
    const int32_t type = info_p->type;
    KIV_ASSERT_TEXT("kiv_exec_lib", type == KIV_EXEC_COMMAND || type == KIV_EXEC_CONFIG, "0");
    command_line line;
    put_talvek_binary(line, *info_p);
    line.text(" ");
    put_operand(line, *info_p);
    line.text(" -L");
    put_values(line, *info_p);
    line.text(" ");
    put_talvek_redirection(line, *info_p);
    return line.write(*info_p, dst, n);
}
