// Sets of virtual SANs.
#ifndef KIV_TESTS_VSANS_H
#define KIV_TESTS_VSANS_H

#include <cstring>
#include <initializer_list>

#include <kiv/bmp_template.h>
#include <kiv/kiv_lib.h>

namespace kiv_tests {

inline bmask4096 vsans(std::initializer_list<uint32_t> members)
{
    bmask4096 mask = KIV_BMP_INIT(KIV_VSAN_BITS);
    for (const uint32_t member : members)
        bmask4096_set_bit(&mask, member);
    return mask;
}

inline bmask4096 every_vsan()
{
    bmask4096 mask = KIV_BMP_INIT(KIV_VSAN_BITS);
    std::memset(mask.bytes, 0xFF, sizeof mask.bytes);
    return mask;
}

} // namespace kiv_tests

#endif
