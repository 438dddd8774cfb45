// The start-up configuration: one pass before the platform is there, one after.

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include <kiv/kiv_exec_lib.h>
#include <kiv/kiv_lib.h>

#include "process_api/kivd_address.h"

namespace {

constexpr uint32_t online_request = 944;
constexpr uint32_t box_online = 3225;
constexpr int32_t time_out_of_a_change = KIV_TIMEOUT_LAST;

uint32_t run_pass(kiv_system_info info, const char *name)
{
    const uint32_t result = kiv_execute_cfg_file2(&info);
    if (info.debug != 0)
        std::printf("%s execution status = %d\n", name, static_cast<int>(result));
    return result;
}

void await_online(int queue)
{
    const int32_t options = std::max(ovra_options_get(queue, box_online), 0);
    ovra_options_set(queue, box_online, (options | OVRA_OPTION_AWAITED) & 0xFFFF);
}

constexpr ovra_recv_options what_is_there{OVRA_OPTIONS_VERSION, OVRA_RECV_NO_WAIT, 0, 0, {}};

// To a question that could not be sent, the only answer is one that is already there.
bool ask_platform(int queue, kiv::owned_message &answer)
{
    ovra_peer peer{0, OVRA_OPTIONS_VERSION, 0, 0, 0, 0, 0, 0};
    const bool is_asked = kiv::notify_platform(queue, online_request) >= 0;
    const int send_error = errno;
    if (answer.receive(queue, &peer, is_asked ? nullptr : &what_is_there) >= 0)
        return true;
    kiv_print_ovra_error_message(time_out_of_a_change, is_asked ? errno : send_error);
    return false;
}

} // namespace

uint32_t kiv_multi_stage_execute_cfg_file(int ovra_queue, const kiv_system_info *info) noexcept
{
    KIV_ASSERT("kiv_exec_lib", info);
    kiv_system_info bootstrap = *info;
    bootstrap.e_value |= KIV_BOOTSTRAP_PASS;
    const uint32_t result = run_pass(bootstrap, "Bootstrap file");
    await_online(ovra_queue);
    kiv::owned_message answer;
    if (!ask_platform(ovra_queue, answer))
        return KIV_ERROR_COMMAND_FAILED;
    const bool is_online = ovra_opc_get(answer.get()) == box_online;
    if (info->debug != 0)
        std::fputs(is_online ? "Received platform box online" : "Received Unknown OVRA opcode",
                   stdout);
    return is_online ? run_pass(*info, "File") : result;
}
