/*
 * bitset.h - sets of small numbers, stored as bits.
 *
 * A bit set is a 32-bit word in host byte order, which holds the size of the
 * bit storage in bytes, followed at once by that storage. Whoever makes a set
 * gives it its memory, stores the size and calls bitset_clear.
 *
 * Bit i is bit i % 8, counted from the least significant, of byte i / 8. The
 * bytes alone (a "bit array") are the form in files and on the wire; they
 * are the same on every host.
 *
 * A bit number beyond the storage is never in the set: setting it changes
 * nothing and asking for it gives 0.
 */
#ifndef KIV_PLATFORM_BITSET_H
#define KIV_PLATFORM_BITSET_H

#include <kiv/platform/platform.h>

KIV_PLATFORM_BEGIN

typedef struct bitset bitset;

/* Makes the set empty. The size word stays. */
KIV_PLATFORM_API void bitset_clear(bitset *b) KIV_PLATFORM_NOEXCEPT;

/* Copies the members of `src`; those beyond the storage of `dst` are left
 * out, and what `src` has no storage for becomes empty. */
KIV_PLATFORM_API void bitset_copy(bitset *dst, const bitset *src) KIV_PLATFORM_NOEXCEPT;

/* Adds `bit`. */
KIV_PLATFORM_API void bitset_set_bit(bitset *b, uint32_t bit) KIV_PLATFORM_NOEXCEPT;

/* Returns 1 when `bit` is in the set, else 0. */
KIV_PLATFORM_API int bitset_is_bit_set(const bitset *b, uint32_t bit) KIV_PLATFORM_NOEXCEPT;

/* Returns the lowest member, or -1 when the set is empty. */
KIV_PLATFORM_API int32_t bitset_first_bit(const bitset *b) KIV_PLATFORM_NOEXCEPT;

/* Returns the lowest number within the storage that is not in the set, or -1
 * when all are. */
KIV_PLATFORM_API int32_t bitset_first_free_bit(const bitset *b) KIV_PLATFORM_NOEXCEPT;

/* Takes out of `dst` whatever is not in `src` too. */
KIV_PLATFORM_API void bitset_intersection(bitset *dst, const bitset *src) KIV_PLATFORM_NOEXCEPT;

/* Loads the set from a bit array that is as long as the set's storage. */
KIV_PLATFORM_API void bitset_from_bitarray(bitset *b, const uint8_t *array) KIV_PLATFORM_NOEXCEPT;

/* Prints the storage on standard output as "0x", two lower-case hexadecimal
 * digits for each byte, the highest byte first, and one space: bit 0 is in the
 * last digit. The form is fixed: libkiv writes it by itself, too. */
KIV_PLATFORM_API void bitset_printf_hex(const bitset *b) KIV_PLATFORM_NOEXCEPT;

/* Writes the members as a list of ranges, such as "1-5,7,10-4093", into
 * `text`, which holds `size` bytes with the NUL; an empty set gives an empty
 * text. What does not fit is cut. Returns the length of the whole list, as
 * snprintf (C11 7.21.6.5) does. `text` may be null when `size` is 0. */
KIV_PLATFORM_API int bitset_sprintf(char *text, size_t size, const bitset *b) KIV_PLATFORM_NOEXCEPT;

KIV_PLATFORM_END

#endif
