#include <array>

#include <kiv/kiv_exec_lib.h>

#include "child.h"
#include "file_exists.h"
#include "shell_paths.h"

namespace {

struct launch_program {
    const char *path;
    const char *name;
};

constexpr launch_program shell{kiv::shell_binary, "kiv"};
constexpr launch_program boot_shell{kiv::boot_shell_binary, "kivboot"};

constexpr const char *mode_flag(int mode)
{
    switch (mode) {
    case KIV_EXEC_COMMAND:
        return "-nRc";
    case KIV_EXEC_FILE:
        return "-nRf";
    case KIV_EXEC_CONFIG:
        return "-nRr";
    default:
        return nullptr;
    }
}

const launch_program &program_for(int target)
{
    return target == KIV_TARGET_SHELL ? shell : boot_shell;
}

} // namespace

int32_t kiv_system_internal(const char *arg, int mode, int target) noexcept
{
    if (arg == nullptr)
        return 1;
    const char *flag = mode_flag(mode);
    if (flag == nullptr)
        KIV_ASSERT_TEXT("common", false, "0");
    const launch_program &program = program_for(target);
    const std::array argv{program.name, flag, arg, static_cast<const char *>(nullptr)};
    return kiv::run_program(program.path, argv.data());
}

int32_t talvek_kiv_system_internal(const char *arg, int mode, int target,
                                   const char *version) noexcept
{
    if (arg == nullptr)
        return 1;
    const char *flag = mode_flag(mode);
    if (flag == nullptr)
        KIV_ASSERT_TEXT("common", false, "0");
    const bool versioned = version != nullptr && *version != '\0';
    const launch_program &program = program_for(target);
    const std::array argv{program.name, flag,
                          arg,          versioned ? "-V" : nullptr,
                          version,      static_cast<const char *>(nullptr)};
    return kiv::run_program(program.path, argv.data());
}

int32_t kiv_system(const char *cmd) noexcept
{
    return kiv_system_internal(cmd, KIV_EXEC_COMMAND, KIV_TARGET_SHELL);
}

int32_t talvek_kiv_system(const char *cmd, const char *version) noexcept
{
    return talvek_kiv_system_internal(cmd, KIV_EXEC_COMMAND, KIV_TARGET_SHELL, version);
}

int kiv_lc_execute_script_file(const char *file) noexcept
{
    if (!kiv::file_exists(file))
        return -1;
    return kiv_system_internal(file, KIV_EXEC_FILE, KIV_TARGET_BOOT) == 0 ? 0 : -1;
}
