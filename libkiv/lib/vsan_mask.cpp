#include <algorithm>
#include <array>
#include <cstring>

#include <kiv/kiv_exec_lib.h>
#include <kiv/kiv_lib.h>

namespace {

constexpr int32_t bits_per_byte = 8;

// Runs of two make the longest list: ten characters, such as "1000-1001,", for three numbers.
constexpr size_t longest_list = size_t{KIV_VSAN_BITS} * 10 / 3 + 16;

// Whether all bits from `first` to `last` of one byte are set.
bool has_all_of_byte(uint8_t byte, int32_t first, int32_t last)
{
    const uint32_t wanted = (0xFFU << first) & (0xFFU >> (bits_per_byte - 1 - last));
    return (byte & wanted) == wanted;
}

bool are_all_set(const uint8_t *begin, const uint8_t *end)
{
    constexpr uint64_t full = UINT64_MAX;
    for (; end - begin >= static_cast<ptrdiff_t>(sizeof full); begin += sizeof full) {
        if (std::memcmp(begin, &full, sizeof full) != 0)
            return false;
    }
    return std::all_of(begin, end, [](uint8_t byte) { return byte == 0xFF; });
}

// Both numbers are in the mask's storage.
bool has_all(const uint8_t *bytes, int32_t first, int32_t last)
{
    const int32_t first_byte = first / bits_per_byte;
    const int32_t last_byte = last / bits_per_byte;
    if (first_byte == last_byte)
        return has_all_of_byte(bytes[first_byte], first % bits_per_byte, last % bits_per_byte);
    return has_all_of_byte(bytes[first_byte], first % bits_per_byte, bits_per_byte - 1) &&
           are_all_set(bytes + first_byte + 1, bytes + last_byte) &&
           has_all_of_byte(bytes[last_byte], 0, last % bits_per_byte);
}

} // namespace

int kiv_is_vsan_allowed(const bmask4096 *vsan_mask, uint32_t vsan) noexcept
{
    KIV_ASSERT("kiv_lib", vsan_mask);
    return bmask4096_is_bit_set(vsan_mask, vsan) == 1 ? 1 : 0;
}

int kiv_is_vsan_range_allowed(const bmask4096 *vsan_mask, const kiv_int_range *vsan_range) noexcept
{
    KIV_ASSERT("kiv_lib", vsan_range);
    const auto [first, last] = *vsan_range;
    if (last < first)
        return 1;
    KIV_ASSERT("kiv_lib", vsan_mask);
    if (kiv_is_vsan_allowed(vsan_mask, static_cast<uint32_t>(first)) == 0 || last >= KIV_VSAN_BITS)
        return 0;
    return has_all(vsan_mask->bytes, first, last) ? 1 : 0;
}

int kiv_is_user_vsan_restricted(const bmask4096 *vsan_mask) noexcept
{
    KIV_ASSERT("kiv_lib", vsan_mask);
    return bmask4096_first_free_bit(vsan_mask) >= 0 ? 1 : 0;
}

void kiv_print_vsan_mask(const bmask4096 *vsan_mask) noexcept
{
    KIV_ASSERT("kiv_lib", vsan_mask);
    std::array<char, longest_list> list{"none"};
    if (bmask4096_first_bit(vsan_mask) >= 0)
        bmask4096_sprintf(list.data(), list.size(), vsan_mask);
    kiv_buf_printf("Permitted vsans:%s\n", list.data());
}
