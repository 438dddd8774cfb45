// The shell's settings.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <kiv/kivd_lib.h>

#include "kivd_lib/exchange.h"
#include "kivd_lib/requests.h"
#include "process_api/kivd_address.h"

static_assert(sizeof(kiv_cfg_info) == 128 && sizeof(kiv::settings_change) == 128);
static_assert(offsetof(kiv::settings_change, extra) == 0);
static_assert(offsetof(kiv::settings_change, settings) == 4);
static_assert(offsetof(kiv_cfg_info, switchname) == 0);
static_assert(offsetof(kiv_cfg_info, session_timeout) == 76);
static_assert(offsetof(kiv_cfg_info, session_timeout_second_form) == 80);
static_assert(offsetof(kiv_cfg_info, max_sessions) == 84);

namespace {

namespace requests = kiv::requests;

// What does not travel becomes 0. False, with the block as it was, where memory is short.
bool complete(kiv::reply &settings)
{
    if (settings.length >= sizeof(kiv_cfg_info))
        return true;
    void *whole = std::realloc(settings.block.get(), sizeof(kiv_cfg_info));
    if (whole == nullptr)
        return false;
    static_cast<void>(settings.block.release());
    settings.block.reset(whole);
    std::memset(static_cast<char *>(whole) + settings.length, 0,
                sizeof(kiv_cfg_info) - settings.length);
    return true;
}

int change(uint32_t client, const kiv_cfg_info &settings, uint32_t opcode, int32_t extra = 0)
{
    return kivd_kiv_configuration_set(client, &settings, opcode, extra, "", "") == 0 ? 0 : -1;
}

} // namespace

int kivd_kiv_configuration_get(uint32_t client, struct kiv_cfg_info **info_out) noexcept
{
    KIV_ASSERT("kivd_lib", info_out);
    *info_out = nullptr;
    kiv::reply settings;
    if (kiv::exchange(requests::settings, {client}, nullptr, settings) < 0 ||
        settings.block == nullptr || !complete(settings))
        return -1;
    settings.hand_out(info_out);
    return 0;
}

int kivd_kiv_config_info_get(int ovra_queue, struct kiv_cfg_info *cfg_out) noexcept
{
    KIV_ASSERT("kivd_lib", cfg_out);
    kiv::owned_message answer;
    if (kiv::ask_daemon(ovra_queue, requests::settings.opcode, answer) != kiv::question::answered)
        return -1;
    return kiv::copy_payload(answer, cfg_out, kiv::settings_size) ? 0 : -1;
}

int kivd_kiv_configuration_set(uint32_t client, const struct kiv_cfg_info *kiv_cfg_info,
                               uint32_t opcode, int32_t extra, const char *text1,
                               const char *text2) noexcept
{
    KIV_ASSERT("kivd_lib", kiv_cfg_info);
    kiv::settings_change request{extra, {}};
    std::memcpy(request.settings, kiv_cfg_info, sizeof request.settings);
    const uint32_t service =
        opcode == requests::switchname_opcode ? kiv::platform_service : kiv::kivd_service;
    return kiv::exchange(requests::change(opcode, sizeof request), {client, service, text1, text2},
                         &request);
}

int kivd_switchname_set(uint32_t client, const char *switchname) noexcept
{
    kiv_cfg_info settings{};
    robust_strncpy(settings.switchname, switchname, sizeof settings.switchname);
    return change(client, settings, requests::switchname_opcode);
}

int kivd_session_timeout_set(uint32_t client, int32_t timeout, int32_t first_form) noexcept
{
    kiv_cfg_info settings{};
    if (first_form != 0)
        settings.session_timeout = timeout;
    else
        settings.session_timeout_second_form = timeout;
    return change(client, settings,
                  first_form != 0 ? requests::session_timeout_opcode
                                  : requests::session_timeout_second_form_opcode);
}

int kivd_max_kiv_sessions_set(uint32_t client, int32_t max, int32_t extra) noexcept
{
    kiv_cfg_info settings{};
    settings.max_sessions = max;
    return change(client, settings, requests::max_sessions_opcode, extra);
}

int kivd_max_vsan_count_allowed_get(uint32_t, int32_t *count_out) noexcept
{
    KIV_ASSERT("kivd_lib", count_out);
    std::printf("%s: modified/stubbed!\n", __func__);
    *count_out = 0;
    return 0;
}
