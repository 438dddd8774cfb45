/*
 * byte_order.h - big-endian integers that keep their order in memory.
 *
 * Byte arrays, so that a field can sit at any address and cannot be read in
 * the wrong order by accident. In C, use the get and make functions; in C++
 * the types also convert from and to the plain integers.
 */
#ifndef KIV_BYTE_ORDER_H
#define KIV_BYTE_ORDER_H

#include <kiv/kiv.h>

#ifdef __cplusplus
#define KIV_BE_CONVERSIONS(type, integer)                                                          \
    constexpr operator integer() const noexcept;                                                   \
    constexpr type &operator=(integer value) noexcept;
#else
#define KIV_BE_CONVERSIONS(type, integer)
#endif

typedef struct kiv_be16 {
    uint8_t bytes[2];
    KIV_BE_CONVERSIONS(kiv_be16, uint16_t)
} kiv_be16;

typedef struct kiv_be32 {
    uint8_t bytes[4];
    KIV_BE_CONVERSIONS(kiv_be32, uint32_t)
} kiv_be32;

typedef struct kiv_be64 {
    uint8_t bytes[8];
    KIV_BE_CONVERSIONS(kiv_be64, uint64_t)
} kiv_be64;

#undef KIV_BE_CONVERSIONS

#ifdef __cplusplus
#define KIV_BE_INLINE constexpr
#else
#define KIV_BE_INLINE static inline
#endif

/* The value of a field, in host order. */
KIV_BE_INLINE uint16_t kiv_be16_get(kiv_be16 field) KIV_NOEXCEPT
{
    return (uint16_t)(field.bytes[0] << 8 | field.bytes[1]);
}

KIV_BE_INLINE uint32_t kiv_be32_get(kiv_be32 field) KIV_NOEXCEPT
{
    return (uint32_t)field.bytes[0] << 24 | (uint32_t)field.bytes[1] << 16 |
           (uint32_t)field.bytes[2] << 8 | (uint32_t)field.bytes[3];
}

KIV_BE_INLINE uint64_t kiv_be64_get(kiv_be64 field) KIV_NOEXCEPT
{
    const kiv_be32 high = {{field.bytes[0], field.bytes[1], field.bytes[2], field.bytes[3]}};
    const kiv_be32 low = {{field.bytes[4], field.bytes[5], field.bytes[6], field.bytes[7]}};
    return (uint64_t)kiv_be32_get(high) << 32 | kiv_be32_get(low);
}

/* A field that holds `value`, given in host order. */
KIV_BE_INLINE kiv_be16 kiv_be16_make(uint16_t value) KIV_NOEXCEPT
{
    const kiv_be16 field = {{(uint8_t)(value >> 8), (uint8_t)value}};
    return field;
}

KIV_BE_INLINE kiv_be32 kiv_be32_make(uint32_t value) KIV_NOEXCEPT
{
    const kiv_be32 field = {
        {(uint8_t)(value >> 24), (uint8_t)(value >> 16), (uint8_t)(value >> 8), (uint8_t)value}};
    return field;
}

KIV_BE_INLINE kiv_be64 kiv_be64_make(uint64_t value) KIV_NOEXCEPT
{
    const kiv_be32 high = kiv_be32_make((uint32_t)(value >> 32));
    const kiv_be32 low = kiv_be32_make((uint32_t)value);
    const kiv_be64 field = {{high.bytes[0], high.bytes[1], high.bytes[2], high.bytes[3],
                             low.bytes[0], low.bytes[1], low.bytes[2], low.bytes[3]}};
    return field;
}

#undef KIV_BE_INLINE

#ifdef __cplusplus
#define KIV_BE_DEFINE(type, integer)                                                               \
    constexpr type::operator integer() const noexcept                                              \
    {                                                                                              \
        return type##_get(*this);                                                                  \
    }                                                                                              \
    constexpr type &type::operator=(integer value) noexcept                                        \
    {                                                                                              \
        return *this = type##_make(value);                                                         \
    }

KIV_BE_DEFINE(kiv_be16, uint16_t)
KIV_BE_DEFINE(kiv_be32, uint32_t)
KIV_BE_DEFINE(kiv_be64, uint64_t)

#undef KIV_BE_DEFINE
#endif

#endif
