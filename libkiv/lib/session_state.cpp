#include <array>
#include <cctype>
#include <cstdio>

#include <sys/time.h>

#include <kiv/kiv_lib.h>

#include "hour_clock.h"

uint32_t kiv_lib_debug_filter;
void *kiv_submode_cmd_history;

namespace {

struct process_state {
    int32_t asciigen_commands;
    int32_t asciigen_start_stop;
    void *tree_root;
};

process_state state;

struct debug_filter_bits {
    uint32_t bits;
    const char *name;
};

// In the order in which they are reported.
constexpr std::array debug_filters{
    debug_filter_bits{0x1, "EOL debug"},
    debug_filter_bits{0x2, "EOL param debug"},
    debug_filter_bits{0x800, "EOL invocation debug"},
    debug_filter_bits{0x10000, "PARAM debug"},
    debug_filter_bits{0x4, "PARSE brief debug"},
    debug_filter_bits{0xC, "PARSE full debug"},
    debug_filter_bits{0x10, "SUBMODE debug"},
    debug_filter_bits{0x20000, "Interface PARAM debug"},
    debug_filter_bits{0x20, "FUNC TRACE"},
    debug_filter_bits{0x40, "HELP debug"},
    debug_filter_bits{0x80, "CMD debug"},
    debug_filter_bits{0x100, "EXEC debug"},
    debug_filter_bits{0x200, "PARSE TREE debug"},
    debug_filter_bits{0x400, "ASCIIGEN debug"},
};

} // namespace

void kiv_asciigen_internal_cmd_init() noexcept
{
    state.asciigen_commands = 0;
    state.asciigen_start_stop = 1;
}

void kiv_asciigen_internal_cmd_punch() noexcept
{
    // Wraps like the machine's arithmetic.
    state.asciigen_commands =
        static_cast<int32_t>(static_cast<uint32_t>(state.asciigen_commands) + 1);
}

int32_t kiv_asciigen_internal_cmd_count_get() noexcept
{
    return state.asciigen_commands;
}

int32_t kiv_asciigen_internal_start_stop_get() noexcept
{
    return state.asciigen_start_stop;
}

void kiv_parse_tree_root_set(void *root) noexcept
{
    state.tree_root = root;
}

void *kiv_parse_tree_root_get() noexcept
{
    return state.tree_root;
}

void kiv_submode_cmd_history_init(void *value) noexcept
{
    kiv_submode_cmd_history = value;
}

void *kiv_get_submode_cmd_history() noexcept
{
    return kiv_submode_cmd_history;
}

void kiv_lib_debug_filter_set(uint32_t value) noexcept
{
    kiv_lib_debug_filter = value;
}

uint32_t kiv_lib_debug_filter_get() noexcept
{
    return kiv_lib_debug_filter;
}

void kiv_lib_debug_filter_value_print(const char *str, uint32_t filter, uint32_t bits) noexcept
{
    KIV_ASSERT("kiv_lib", str);
    if ((filter & bits) != 0)
        std::printf("kiv %s is on\n", str);
}

void kiv_lib_debug_filter_print() noexcept
{
    const uint32_t filter = kiv_lib_debug_filter;
    if (filter == 0)
        return;
    std::puts("Kiv:");
    if (filter == KIV_DEBUG_ALL) {
        std::puts("kiv ALL debugs are on");
        return;
    }
    for (const debug_filter_bits &row : debug_filters)
        kiv_lib_debug_filter_value_print(row.name, filter, row.bits);
}

int32_t kiv_get_timeout_user_value(int32_t value) noexcept
{
    return value == -1 ? 0 : value;
}

void kiv_convert_str_to_lower_case(char *str) noexcept
{
    KIV_ASSERT("kiv_lib", str);
    for (; *str != '\0'; ++str)
        *str = static_cast<char>(std::tolower(static_cast<unsigned char>(*str)));
}

int32_t kiv_time() noexcept
{
    timeval now;
    if (gettimeofday(&now, nullptr) != 0)
        return -1;
    return kiv::microseconds_of_hour(now);
}
