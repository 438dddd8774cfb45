#include <array>

#include <kiv/kiv_exec_lib.h>

#include "child.h"
#include "common/file_exists.h"
#include "shell_paths.h"

namespace {

struct launch_program {
    const char *path;
    const char *name;
};

constexpr launch_program shell{kiv::shell_binary, "kiv"};
constexpr launch_program boot_shell{kiv::boot_shell_binary, "kivboot"};

struct launch_mode {
    int mode;
    const char *flag;
};

constexpr std::array modes{launch_mode{KIV_EXEC_COMMAND, "-nRc"},
                           launch_mode{KIV_EXEC_FILE, "-nRf"},
                           launch_mode{KIV_EXEC_CONFIG, "-nRr"}};

// The flag that tells the shell what it gets; null for a mode that there is not.
constexpr const char *flag_of(int mode)
{
    for (const launch_mode &row : modes) {
        if (row.mode == mode)
            return row.flag;
    }
    return nullptr;
}

int32_t launch(const char *flag, const char *arg, int target, const char *version)
{
    const launch_program &program = target == KIV_TARGET_SHELL ? shell : boot_shell;
    const bool versioned = version != nullptr && *version != '\0';
    const std::array<const char *, 6> argv{program.name, flag,   arg, versioned ? "-V" : nullptr,
                                           version,      nullptr};
    kiv::flush_streams();
    return kiv::run_program(program.path, argv.data());
}

} // namespace

int32_t kiv_system_internal(const char *arg, int mode, int target) noexcept
{
    if (arg == nullptr)
        return 1;
    const char *flag = flag_of(mode);
    KIV_ASSERT_TEXT("common", flag != nullptr, "0");
    return launch(flag, arg, target, nullptr);
}

int32_t talvek_kiv_system_internal(const char *arg, int mode, int target,
                                   const char *version) noexcept
{
    if (arg == nullptr)
        return 1;
    const char *flag = flag_of(mode);
    KIV_ASSERT_TEXT("common", flag != nullptr, "0");
    return launch(flag, arg, target, version);
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
