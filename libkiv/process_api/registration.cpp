// What a contributing process announces: its trees, its interface types, changes of configuration.

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include <kiv/common.h>
#include <kiv/kiv_process_api.h>
#include <kiv/platform/cmi.h>
#include <kiv/platform/syserr.h>

#include "process_api/kivd_address.h"

namespace {

enum opcode : uint32_t {
    register_interface_type = 900,
    deregister_interface_type = 901,
    configuration_changed = 943,
    register_tree = 7655,
    deregister_tree = 7656
};

constexpr int32_t registration_wait = 20; // seconds

// A status of -1 that comes from the daemon is no fault of the transport.
int transport_error()
{
    if (errno == 0)
        return -1;
    return static_cast<int>(KIV_ERROR_TRANSPORT |
                            (static_cast<uint32_t>(errno) & KIV_ERROR_TRANSPORT_ERRNO_MASK));
}

int announce_tree(opcode code, uint32_t client, const char *tree_name)
{
    kiv_tree_table_entry entry;
    set_tree_table_entry(&entry, tree_name, "");
    uint32_t length = sizeof entry;
    const int result = cmi_req_resp(code, CMI_MODE_CHANGE, &entry, nullptr, &length, "", "",
                                    kiv::kivd_service, client, registration_wait);
    return result == -1 ? transport_error() : result;
}

template <typename Payload>
int tell_daemon(int queue, opcode code, const Payload &payload, const char *failure)
{
    const int result = ovra_send(queue, kiv::kivd_address, code, &payload, sizeof payload, nullptr,
                                 0, &kiv::send_options);
    if (result < 0)
        std::puts(failure);
    return result;
}

int announce_interface(int queue, uint64_t intf_mask, const intf_reg_info &info)
{
    kiv_interface_table_entry entry;
    set_interface_table_entry(&entry, intf_mask, info.name, info.min_match_len, info.format,
                              info.verify_func, info.listing_func, info.library_name,
                              info.help_info, info.ascii_gen_priority);
    return tell_daemon(queue, register_interface_type, entry,
                       "Not able to send interface registration to kivd");
}

} // namespace

int kiv_register_parse_tree(uint32_t client, const char *tree_name) noexcept
{
    return announce_tree(register_tree, client, tree_name);
}

int kiv_deregister_parse_tree(uint32_t client, const char *tree_name) noexcept
{
    return announce_tree(deregister_tree, client, tree_name);
}

int kiv_register_interface(int ovra_queue, uint64_t intf_mask,
                           const intf_reg_info *reg_info) noexcept
{
    KIV_ASSERT("kiv_process_api", reg_info);
    return announce_interface(ovra_queue, intf_mask, *reg_info);
}

int kiv_register_interface2(int ovra_queue, uint64_t intf_mask, const char *name,
                            int32_t min_match_len, int32_t format, const char *verify_func,
                            const char *listing_func, const char *,
                            const char *library_name) noexcept
{
    return announce_interface(
        ovra_queue, intf_mask,
        {name, min_match_len, format, verify_func, listing_func, library_name, nullptr, 0});
}

int kiv_deregister_interface(int ovra_queue, uint64_t intf_mask) noexcept
{
    return tell_daemon(ovra_queue, deregister_interface_type, intf_mask,
                       "Not able to send interface deregistration to kivd");
}

int kiv_set_intf_reg_info(intf_reg_info *reg_info, const char *name, int32_t min_match_len,
                          int32_t format, const char *verify_func, const char *listing_func,
                          const char *library_name, const kiv_intf_help_info *help_info) noexcept
{
    if (reg_info == nullptr)
        return -1;
    *reg_info = {name,         min_match_len, format,    verify_func,
                 listing_func, library_name,  help_info, reg_info->ascii_gen_priority};
    return 0;
}

void populate_ovra_send_options(ovra_send_options *opts) noexcept
{
    KIV_ASSERT("kiv_process_api", opts);
    ovra_send_options kept{};
    kept.version = opts->version;
    kept.priority = opts->priority;
    std::ranges::copy(opts->reserved2, kept.reserved2);
    *opts = kept;
}

int kiv_config_change_notify(int ovra_queue) noexcept
{
    return kiv::notify_platform(ovra_queue, configuration_changed) != 0 ? transport_error() : 0;
}

int kiv_api_notify_cfg_change(const struct pinfo *pinfo) noexcept
{
    KIV_ASSERT("kiv_process_api", pinfo);
    if ((pinfo->info_flags & KIV_INFO_PER_VSAN_ASCII_GEN) == 0)
        kiv::notify_platform(pinfo->ovra_queue, configuration_changed);
    return 0;
}
