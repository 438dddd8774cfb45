// The running configuration, and files of commands given to the shell.

#include <cstddef>
#include <cstdio>

#include <kiv/common.h>
#include <kiv/kiv_exec_lib.h>

#include "child.h"
#include "common/file_exists.h"
#include "common/text.h"
#include "shell_paths.h"

static_assert(sizeof(kiv_running_cfg_info) == 136);
static_assert(offsetof(kiv_running_cfg_info, o_value) == 128);
static_assert(offsetof(kiv_running_cfg_info, debug) == 132);

namespace {

// Stores the text in the field of a request that is zeros; false where there is no room for it.
template <size_t Size>
bool store(char (&field)[Size], const char *text)
{
    if (robust_strlen(text) >= Size)
        return false;
    robust_strcpy(field, text);
    return true;
}

uint32_t request_peer_command(const char *command, const char *out_file, const char *version)
{
    kiv_system_info info{};
    robust_strcpy(info.cmd_str, command);
    if (!store(info.out_file, out_file) || !store(info.version, version))
        return KIV_ERROR_COMMAND_TOO_LONG;
    return kiv_talvek_system2(&info);
}

uint32_t run_peer_command(const char *command, const char *out_file, const char *version)
{
    const uint32_t result = request_peer_command(command, out_file, version);
    if (result != 0)
        std::puts(syserr2str(result));
    return result;
}

int run_file(const char *file, kiv_exec_mode mode)
{
    return kiv_system_internal(file, mode, KIV_TARGET_SHELL) == 0 ? 0 : -1;
}

} // namespace

int32_t kiv_generate_running_cfg(const char *file) noexcept
{
    if (file == nullptr)
        return -1;
    kiv::fixed_text<160> command;
    command.append("show running-config > ").append(file).append(" ");
    return command.overflowed() ? -1 : kiv_system(command.c_str());
}

int kiv_generate_running_cfg2(kiv_running_cfg_info *rec) noexcept
{
    KIV_ASSERT("kiv_exec_lib", rec);
    kiv::fixed_text<256> line;
    line.append(kiv::shell_binary).append(" -o ").append(rec->o_value);
    line.append(" -c \"show running-config\" ");
    if (*rec->out_file != '\0')
        line.append("> ").append(kiv::field_text(rec->out_file)).append(" 2>&1");
    if (kiv::is_open(rec->out_file))
        return 0;
    kiv::flush_streams();
    const int32_t status = kiv::run_line(line.c_str());
    if (rec->debug != 0)
        std::printf("kiv exit status = %d\n", status);
    return 0;
}

int kiv_execute_cfg_file(const char *file) noexcept
{
    return kiv::file_exists(file) ? run_file(file, KIV_EXEC_CONFIG) : -1;
}

int kiv_execute_script_file(const char *file) noexcept
{
    if (!kiv::file_exists(file)) {
        std::perror("");
        return -1;
    }
    return run_file(file, KIV_EXEC_FILE);
}

uint32_t talvek_kiv_generate_running_cfg(const char *out_file, const char *version) noexcept
{
    return run_peer_command("show running-config", out_file, version);
}

uint32_t talvek_kiv_generate_running_cfg_peer_version(const char *out_file,
                                                      const char *version) noexcept
{
    return run_peer_command("show running-config peer", out_file, version);
}

uint32_t talvek_kiv_generate_running_cfg_peer_version_bg(const char *out_file,
                                                         const char *version) noexcept
{
    background_running_flag = 1;
    const uint32_t result = talvek_kiv_generate_running_cfg_peer_version(out_file, version);
    background_running_flag = 0;
    return result;
}
