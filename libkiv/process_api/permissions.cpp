// What a user may do on interfaces and virtual SANs.

#include <cstdio>

#include <kiv/kiv_process_api.h>

namespace {

constexpr uint32_t debug_interface_checks = 0x1;
constexpr uint8_t first_open_type = 1;
constexpr uint8_t second_open_type = 8;

bool is_restricted(const bmask4096 *user_vsan_mask)
{
    return kiv_is_user_vsan_restricted(user_vsan_mask) != 0;
}

bool has_kind(const fc_intf_perm_req &req, int32_t kind)
{
    return req.first_kind == kind || req.second_kind == kind;
}

bool may_act_on_one_of(const vsan_bitset &user, const vsan_bitset *wanted)
{
    vsan_bitset common = KIV_BMP_INIT(KIV_VSAN_BITS);
    vsan_bitset_copy(&common, &user);
    vsan_bitset_intersection(&common, wanted);
    return vsan_bitset_first_bit(&common) >= 0;
}

// The caller's own name, for the line that it is a stub.
int check_interface(const char *function, const char *action, const bmask4096 *user_vsan_mask,
                    uint32_t ifindex)
{
    if (!is_restricted(user_vsan_mask))
        return 1;
    if ((kiv_lib_debug_filter & debug_interface_checks) != 0)
        std::printf("Checking if interface %s allowed for Ifindex = %x\n", action, ifindex);
    std::printf("%s: modified/stubbed!\n", function);
    return 0;
}

} // namespace

int kiv_intf_type_perm_check(const bmask4096 *user_vsan_mask, uint32_t intf_type,
                             int32_t operation) noexcept
{
    const auto type = static_cast<uint8_t>(intf_type);
    const bool is_allowed = !is_restricted(user_vsan_mask) ||
                            operation == KIV_INTF_OPERATION_SHOW || type == first_open_type ||
                            type == second_open_type;
    return is_allowed ? 1 : 0;
}

int kiv_is_interface_config_allowed(const void *, const bmask4096 *user_vsan_mask,
                                    uint32_t ifindex) noexcept
{
    return check_interface(__func__, "config", user_vsan_mask, ifindex);
}

int kiv_is_interface_display_allowed(const void *, const bmask4096 *user_vsan_mask,
                                     uint32_t ifindex) noexcept
{
    return check_interface(__func__, "display", user_vsan_mask, ifindex);
}

int kiv_fc_intf_perm_check(const fc_intf_perm_req *req) noexcept
{
    KIV_ASSERT("kiv_process_api", req);
    if (!is_restricted(req->user_vsan_mask))
        return 1;
    const bool asks_for_set = has_kind(*req, KIV_INTF_KIND_VSAN_SET);
    const bool is_typed = asks_for_set || has_kind(*req, KIV_INTF_KIND_TYPED);
    if (is_typed && req->operation != KIV_INTF_OPERATION_SHOW)
        return 0;
    if (!asks_for_set)
        return vsan_bitset_is_bit_set(req->user_vsan_mask, req->vsan_id) != 0 ? 1 : 0;
    KIV_ASSERT("kiv_process_api", req->vsan_set);
    return may_act_on_one_of(*req->user_vsan_mask, req->vsan_set) ? 1 : 0;
}
