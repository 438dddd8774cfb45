#include <algorithm>
#include <cstring>

#include <kiv/kiv_lib.h>

static_assert(KIV_PINFO_ARG_PLACES > UINT8_MAX, "every count stays inside the list");

namespace {

bool has_place(int32_t position)
{
    return position >= 0 && position < KIV_PINFO_ARG_PLACES;
}

bool names_interfaces(const param_arg &arg)
{
    return arg.type == TYPE_INTERFACE || arg.type == TYPE_INTERFACE_RANGE;
}

} // namespace

int pinfo_basic_copy(pinfo *dest_pinfo, const pinfo *src_pinfo) noexcept
{
    KIV_ASSERT("kiv_lib", dest_pinfo);
    if (src_pinfo == nullptr)
        std::memset(dest_pinfo, 0, sizeof *dest_pinfo);
    else
        std::memmove(dest_pinfo, src_pinfo, sizeof *dest_pinfo);
    dest_pinfo->parameter_count = 0;
    return 0;
}

int pinfo_insert_arg(struct pinfo *pinfo, param_arg *arg) noexcept
{
    KIV_ASSERT("kiv_lib", pinfo);
    pinfo->args[pinfo->parameter_count++] = arg;
    return 0;
}

int pinfo_insert_arg_at_index(struct pinfo *pinfo, param_arg *arg, int32_t index) noexcept
{
    KIV_ASSERT("kiv_lib", pinfo);
    KIV_ASSERT_TEXT("kiv_lib", pinfo->parameter_count < KIV_PINFO_MAX_ARGS,
                    "pinfo->parameter_count < 16*2");
    if (!has_place(index))
        return -1;
    param_arg **end = pinfo->args + pinfo->parameter_count;
    if (index < pinfo->parameter_count)
        std::move_backward(pinfo->args + index, end, end + 1);
    pinfo->args[index] = arg;
    ++pinfo->parameter_count;
    return 0;
}

int pinfo_set_arg(struct pinfo *pinfo, param_arg *arg, int32_t param_index) noexcept
{
    KIV_ASSERT("kiv_lib", pinfo);
    if (param_index < 1 || !has_place(param_index - 1))
        return -1;
    pinfo->args[param_index - 1] = arg;
    return 0;
}

int pinfo_delete_arg(struct pinfo *pinfo, int32_t param_index) noexcept
{
    KIV_ASSERT("kiv_lib", pinfo);
    KIV_ASSERT_TEXT("kiv_lib", param_index > 0, "param_index>0");
    param_arg **end = pinfo->args + pinfo->parameter_count;
    if (param_index < pinfo->parameter_count)
        std::move(pinfo->args + param_index, end, pinfo->args + param_index - 1);
    --pinfo->parameter_count;
    return 0;
}

int pinfo_delete_all_arg(struct pinfo *pinfo) noexcept
{
    KIV_ASSERT("kiv_lib", pinfo);
    pinfo->parameter_count = 0;
    return 0;
}

int pinfo_get_latest_intf_mask(const struct pinfo *pinfo, uint64_t *intf_mask) noexcept
{
    KIV_ASSERT("kiv_lib", pinfo);
    KIV_ASSERT("kiv_lib", intf_mask);
    *intf_mask = 0;
    for (int32_t i = pinfo->parameter_count; i-- > 0;) {
        const param_arg *arg = pinfo->args[i];
        if (arg == nullptr || !names_interfaces(*arg))
            continue;
        *intf_mask = arg->mask;
        return arg->mask != 0 ? 0 : -1;
    }
    return -1;
}

int populate_param_arg(struct param_arg *param_arg, int32_t token_id, uint32_t type, uint64_t mask,
                       void *value) noexcept
{
    KIV_ASSERT("kiv_lib", param_arg);
    param_arg->token_id = token_id;
    param_arg->type = type;
    param_arg->mask = mask;
    param_arg->value = value;
    return 0;
}

int populate_intf(kiv_interface *intf_ptr, uint32_t ifindex) noexcept
{
    KIV_ASSERT("kiv_lib", intf_ptr);
    intf_ptr->ifindex = ifindex;
    return 0;
}

int populate_mono_intf_range(kiv_interface_mono_range *intf_mono_range_ptr, uint32_t first,
                             uint32_t last) noexcept
{
    KIV_ASSERT("kiv_lib", intf_mono_range_ptr);
    *intf_mono_range_ptr = {first, last};
    return 0;
}

int populate_intf_range(kiv_interface_range *intf_range_ptr, int32_t slot, uint32_t first,
                        uint32_t last) noexcept
{
    KIV_ASSERT("kiv_lib", intf_range_ptr);
    if (slot >= 0 && slot < KIV_INTERFACE_RANGES)
        intf_range_ptr->ranges[slot] = {first, last};
    return 0;
}
