/*
 * bmp_template.h - bit sets of a fixed size, made from one template.
 *
 * Each type is a bit set of kiv/platform/bitset.h with its storage. Whoever
 * makes one stores the size and clears it; KIV_BMP_INIT does both. Every
 * operation first asserts the size, under its own name.
 */
#ifndef KIV_BMP_TEMPLATE_H
#define KIV_BMP_TEMPLATE_H

#include <kiv/kiv.h>
#include <kiv/platform/bitset.h>

/* The storage of a set of `bits` bits, in bytes. */
#define KIV_BMP_SIZE(bits) ((((bits)+31)>>3)&~0x3)

#define KIV_BMP_TYPE(type, bits)          \
    typedef struct type {                 \
        uint32_t size;                    \
        uint8_t bytes[KIV_BMP_SIZE(bits)]; \
    } type;

#define KIV_BMP_ASSERT_SIZE(bits) KIV_ASSERT_EXPANDED("bmp_template", b->size == KIV_BMP_SIZE(bits))

/* Initialiser of an empty set. */
#define KIV_BMP_INIT(bits) {KIV_BMP_SIZE(bits), {0}}

/* Adds `bit`, as bitset_set_bit does. */
#define KIV_BMP_SET_BIT(type, bits)                                              \
    static inline void type##_set_bit(type *b, uint32_t bit) KIV_NOEXCEPT        \
    {                                                                            \
        KIV_BMP_ASSERT_SIZE(bits);                                               \
        bitset_set_bit((bitset *)b, bit);                                        \
    }

/* Returns 1 when `bit` is in the set, else 0. */
#define KIV_BMP_IS_BIT_SET(type, bits)                                           \
    static inline int type##_is_bit_set(const type *b, uint32_t bit) KIV_NOEXCEPT \
    {                                                                            \
        KIV_BMP_ASSERT_SIZE(bits);                                               \
        return bitset_is_bit_set((const bitset *)b, bit);                        \
    }

/* Loads the set from a bit array of the set's storage size. */
#define KIV_BMP_FROM_BITARRAY(type, bits)                                              \
    static inline void type##_from_bitarray(type *b, const uint8_t *array) KIV_NOEXCEPT \
    {                                                                                  \
        KIV_BMP_ASSERT_SIZE(bits);                                                     \
        bitset_from_bitarray((bitset *)b, array);                                      \
    }

/* Prints the storage as bitset_printf_hex does. */
#define KIV_BMP_PRINTF_HEX(type, bits)                                \
    static inline void type##_printf_hex(const type *b) KIV_NOEXCEPT  \
    {                                                                 \
        KIV_BMP_ASSERT_SIZE(bits);                                    \
        bitset_printf_hex((const bitset *)b);                         \
    }

/* Returns the lowest member, and the lowest number that is none, as bitset_first_bit and
 * bitset_first_free_bit do. */
#define KIV_BMP_FIRST_BIT(type, bits)                                     \
    static inline int32_t type##_first_bit(const type *b) KIV_NOEXCEPT    \
    {                                                                     \
        KIV_BMP_ASSERT_SIZE(bits);                                        \
        return bitset_first_bit((const bitset *)b);                       \
    }
#define KIV_BMP_FIRST_FREE_BIT(type, bits)                                   \
    static inline int32_t type##_first_free_bit(const type *b) KIV_NOEXCEPT  \
    {                                                                        \
        KIV_BMP_ASSERT_SIZE(bits);                                           \
        return bitset_first_free_bit((const bitset *)b);                     \
    }

/* Makes `dst` equal to `src`. */
#define KIV_BMP_COPY(type, bits)                                                  \
    static inline void type##_copy(type *dst, const type *src) KIV_NOEXCEPT       \
    {                                                                             \
        KIV_ASSERT_EXPANDED("bmp_template", (dst->size == KIV_BMP_SIZE(bits)) &&  \
                                            (src->size == KIV_BMP_SIZE(bits)));   \
        bitset_copy((bitset *)dst, (const bitset *)src);                          \
    }

/* Takes out of `dst` whatever is not in `b` too. */
#define KIV_BMP_INTERSECTION(type, bits)                                          \
    static inline void type##_intersection(type *dst, const type *b) KIV_NOEXCEPT \
    {                                                                             \
        KIV_BMP_ASSERT_SIZE(bits);                                                \
        KIV_ASSERT_EXPANDED("bmp_template", dst->size == KIV_BMP_SIZE(bits));     \
        bitset_intersection((bitset *)dst, (const bitset *)b);                    \
    }

/* Writes the members as bitset_sprintf does. */
#define KIV_BMP_SPRINTF(type, bits)                                                     \
    static inline int type##_sprintf(char *text, size_t n, const type *b) KIV_NOEXCEPT  \
    {                                                                                   \
        KIV_BMP_ASSERT_SIZE(bits);                                                      \
        return bitset_sprintf(text, n, (const bitset *)b);                              \
    }

#define KIV_PERMISSIONS_BITS 128
#define KIV_CHILDLIST_BITS 256
#define KIV_VSAN_BITS 4096

/* Which roles may use a node. */
KIV_BMP_TYPE(bmask128, KIV_PERMISSIONS_BITS)
KIV_BMP_SET_BIT(bmask128, 128)
KIV_BMP_FROM_BITARRAY(bmask128, 128)
KIV_BMP_PRINTF_HEX(bmask128, 128)

/* Which children of a node are links. */
KIV_BMP_TYPE(bmask256, KIV_CHILDLIST_BITS)
KIV_BMP_FROM_BITARRAY(bmask256, 256)
KIV_BMP_PRINTF_HEX(bmask256, 256)
KIV_BMP_IS_BIT_SET(bmask256, 256)

/* Virtual SANs: member n is number n. */
KIV_BMP_TYPE(bmask4096, KIV_VSAN_BITS)
KIV_BMP_SET_BIT(bmask4096, 4096)
KIV_BMP_IS_BIT_SET(bmask4096, 4096)
KIV_BMP_FIRST_BIT(bmask4096, 4096)
KIV_BMP_FIRST_FREE_BIT(bmask4096, 4096)
KIV_BMP_SPRINTF(bmask4096, 4096)

/* The same sets, as the daemon and its clients name them. */
typedef bmask4096 vsan_bitset;
KIV_BMP_COPY(vsan_bitset, 4096)
KIV_BMP_INTERSECTION(vsan_bitset, 4096)
KIV_BMP_FIRST_BIT(vsan_bitset, 4096)
KIV_BMP_IS_BIT_SET(vsan_bitset, 4096)
KIV_BMP_SPRINTF(vsan_bitset, 4096)

#endif
