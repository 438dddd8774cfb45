#include <algorithm>
#include <cstdio>
#include <string_view>

#include <kiv/kiv_lib.h>

#include "common/text.h"

static_assert(offsetof(kiv_intf_help_info, help_str) == 360);
static_assert(offsetof(kiv_intf_help_info, field_count) == 424);

namespace {

// Bit i: interfaces of type i + 1 belong to virtual SANs.
constexpr uint64_t per_vsan_types = 0x8000000000008009U;
constexpr uint32_t last_type = 64;

// What the record has room for, whatever its count says.
int32_t fields_in_use(const kiv_intf_help_info &info)
{
    return std::clamp(info.field_count, 0, KIV_INTF_HELP_FIELDS);
}

} // namespace

int kiv_is_interface_type_per_vsan(uint32_t type) noexcept
{
    return type >= 1 && type <= last_type ? static_cast<int>(per_vsan_types >> (type - 1) & 1) : 0;
}

int kiv_is_interface_type_restricted() noexcept
{
    std::printf("%s: modified/stubbed!\n", __func__);
    return 1;
}

int kiv_intf_help_info_reset(kiv_intf_help_info *info, const char *help_str) noexcept
{
    KIV_ASSERT("kiv_lib", info);
    kiv_intf_help_info empty{};
    robust_strncpy(empty.help_str, help_str, sizeof empty.help_str);
    *info = empty;
    return 0;
}

int kiv_intf_help_info_add(kiv_intf_help_info *info, const char *name, int32_t min,
                           int32_t max) noexcept
{
    KIV_ASSERT("kiv_lib", info);
    if (info->field_count < 0 || info->field_count >= KIV_INTF_HELP_FIELDS)
        return -1;
    kiv_intf_field_help_info &field = info->fields[info->field_count++];
    robust_strncpy(field.name, name, sizeof field.name);
    field.minimum = min;
    field.maximum = max;
    return 0;
}

int kiv_intf_help_info_copy(const kiv_intf_help_info *src, kiv_intf_help_info *dest) noexcept
{
    if (dest == nullptr)
        return -1;
    kiv_intf_help_info copy{};
    kiv_intf_help_info_reset(&copy, src == nullptr ? nullptr : src->help_str);
    for (int32_t i = 0; src != nullptr && i < fields_in_use(*src); ++i) {
        const kiv_intf_field_help_info &field = src->fields[i];
        kiv_intf_help_info_add(&copy, field.name, field.minimum, field.maximum);
    }
    *dest = copy;
    return 0;
}

void kiv_intf_field_help_info_show(const kiv_intf_field_help_info *intf_field_help_info) noexcept
{
    KIV_ASSERT("kiv_lib", intf_field_help_info);
    const std::string_view name = kiv::field_text(intf_field_help_info->name);
    std::printf("\t %.*s <%d-%d>", static_cast<int>(name.size()), name.data(),
                intf_field_help_info->minimum, intf_field_help_info->maximum);
}

int kiv_intf_help_info_show(const kiv_intf_help_info *info) noexcept
{
    if (info == nullptr)
        return -1;
    std::puts("\n Interface help information:");
    const std::string_view help = kiv::field_text(info->help_str);
    if (!help.empty())
        std::printf("Intf help str:%.*s ", static_cast<int>(help.size()), help.data());
    for (int32_t i = 0; i < fields_in_use(*info); ++i) {
        kiv_intf_field_help_info_show(&info->fields[i]);
        std::putchar('\n');
    }
    return 0;
}
