// Requests run as command lines, and the mapping of their status.

#include <array>
#include <cstdio>

#include <signal.h>

#include <kiv/kiv_exec_lib.h>

#include "child.h"
#include "common/file_exists.h"
#include "common/text.h"

int32_t background_running_flag = 0;

namespace {

// The longest command line that is run, with its NUL.
constexpr size_t line_size = 512;
constexpr std::string_view background_suffix = " &";

constexpr int32_t raw_status_1 = 1;
constexpr int32_t raw_status_failed = 127;

// The raw status is compared, not the exit code: every exit code but 0 is a multiple of 256.
constexpr uint32_t result_of(int32_t raw_status)
{
    if (raw_status == raw_status_1)
        return KIV_ERROR_COMMAND_STATUS_1;
    return raw_status >= raw_status_failed ? KIV_ERROR_COMMAND_FAILED : 0;
}

using line_builder = uint32_t(kiv_system_info *, char *, size_t);
using line_runner = int32_t(const char *);

uint32_t report(int32_t status, const kiv_system_info &info)
{
    if (info.debug != 0)
        std::printf("kiv exit status = %d\n", status);
    return result_of(status);
}

uint32_t execute(kiv_system_info *info, line_builder build, line_runner run, size_t room)
{
    kiv::flush_streams();
    std::array<char, 2 * line_size> line;
    if (const uint32_t result = build(info, line.data(), line.size()); result != 0)
        return result;
    if (std::strlen(line.data()) >= room)
        return KIV_ERROR_COMMAND_TOO_LONG;
    return report(run(line.data()), *info);
}

bool command_file_exists(const kiv_system_info &info)
{
    kiv::fixed_text<sizeof info.file_name + 1> path;
    path.append(kiv::field_text(info.file_name));
    return kiv::file_exists(path.c_str());
}

uint32_t execute_file(kiv_system_info &info, kiv_exec_mode mode, uint32_t run(kiv_system_info *))
{
    if (!command_file_exists(info))
        return KIV_ERROR_FILE_MISSING;
    info.type = mode;
    return run(&info);
}

bool block_terminal_signals()
{
    sigset_t blocked;
    sigset_t previous;
    sigemptyset(&blocked);
    for (const int signal : {SIGTSTP, SIGINT, SIGALRM})
        sigaddset(&blocked, signal);
    return sigprocmask(SIG_BLOCK, &blocked, &previous) == 0;
}

} // namespace

uint32_t kiv_system_execute(kiv_system_info *info_p) noexcept
{
    return execute(info_p, kiv_system_cmd_str_create, kiv::run_line, line_size);
}

uint32_t kiv_talvek_system_execute(kiv_system_info *info_p) noexcept
{
    const size_t suffix = background_running_flag != 0 ? background_suffix.size() : 0;
    return execute(info_p, kiv_talvek_system_cmd_str_create, talvek_system, line_size - suffix);
}

int32_t talvek_system(const char *cmd) noexcept
{
    if (cmd == nullptr)
        return 1;
    kiv::fixed_text<line_size> background;
    if (background_running_flag != 0) {
        background.append(cmd).append(background_suffix);
        if (background.overflowed())
            return -1;
    }
    if (!block_terminal_signals())
        return -1;
    const char *line = background_running_flag != 0 ? background.c_str() : cmd;
    const std::array argv{"sh", "-c", line, static_cast<const char *>(nullptr)};
    return kiv::run_program("/bin/sh", argv.data());
}

uint32_t kiv_system2(kiv_system_info *info_p) noexcept
{
    KIV_ASSERT("kiv_exec_lib", info_p);
    info_p->type = KIV_EXEC_COMMAND;
    return kiv_system_execute(info_p);
}

uint32_t kiv_talvek_system2(kiv_system_info *info_p) noexcept
{
    KIV_ASSERT("kiv_exec_lib", info_p);
    info_p->type = KIV_EXEC_COMMAND;
    return kiv_talvek_system_execute(info_p);
}

uint32_t kiv_execute_script_file2(kiv_system_info *info_p) noexcept
{
    KIV_ASSERT("kiv_exec_lib", info_p);
    return execute_file(*info_p, KIV_EXEC_FILE, kiv_system_execute);
}

uint32_t kiv_execute_cfg_file2(kiv_system_info *info_p) noexcept
{
    KIV_ASSERT("kiv_exec_lib", info_p);
    return execute_file(*info_p, KIV_EXEC_CONFIG, kiv_system_execute);
}

uint32_t kiv_talvek_execute_cfg_file2(kiv_system_info *info_p) noexcept
{
    KIV_ASSERT("kiv_exec_lib", info_p);
    return execute_file(*info_p, KIV_EXEC_CONFIG, kiv_talvek_system_execute);
}

uint32_t kiv_execute_cmd_file2(kiv_system_info *info_p, const char *command) noexcept
{
    KIV_ASSERT("kiv_exec_lib", info_p);
    if (!command_file_exists(*info_p))
        return KIV_ERROR_FILE_MISSING;
    if (command == nullptr)
        return KIV_ERROR_COMMAND_STATUS_1;
    if (info_p->debug != 0)
        std::printf("Executing kiv command string:%s\n", command);
    return report(kiv::run_line(command), *info_p);
}
