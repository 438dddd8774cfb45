// Where the shell program stands on the switch.
#ifndef KIV_EXEC_SHELL_PATHS_H
#define KIV_EXEC_SHELL_PATHS_H

namespace kiv {

inline constexpr const char *shell_binary = "/usr/sbin/kiv.bin";
inline constexpr const char *boot_shell_binary = "/lc/ubexboot/bin/kivboot";

} // namespace kiv

#endif
