/*
 * kiv.h - the conventions of libkiv's C interface.
 *
 * Every header of the library includes this one. The numbered rules hold for
 * each function unless its own comment says otherwise.
 *
 *  1. Headers compile alone as C11 and as C++20. Functions are plain C
 *     functions over plain records; none of them throws.
 *  2. Ownership. The caller owns every record and buffer that it passes; the
 *     library keeps no pointer to it. What a function hands out on the heap
 *     comes from malloc; the caller frees it with free, or with the matching
 *     free function where there is one.
 *  3. Results. 0 is success and -1 failure, or nothing found, in table, list
 *     and file operations. Command execution and daemon calls return 0 or a
 *     library error code (kiv/platform/syserr.h). Launchers return the raw
 *     wait status of the child, as waitpid (POSIX) stores it.
 *  4. Nullability. A record pointer must not be null; the bounded-string
 *     helpers accept null everywhere.
 *  5. Strings end with NUL. A character array in a record is read up to its
 *     size and no further; a string too long for one is cut and terminated.
 *  6. Programming errors (a null record, an unknown mode, a mask of the wrong
 *     size) fail the C library's assertion and abort, in every build type.
 *     Data errors never abort, but for a tree deeper than KIV_TREE_MAX_DEPTH.
 *  7. Threads. Process-wide state has no locks: one thread per process uses
 *     the library. Functions without such state can run anywhere.
 *  8. Units. Sizes are in bytes, times in the unit that the name says. A
 *     length of text does not count its NUL.
 *  9. Byte order. Parse-tree nodes and parameters are big-endian in memory on
 *     every host (kiv/byte_order.h); everything else is in host order.
 */
#ifndef KIV_KIV_H
#define KIV_KIV_H

#include <stddef.h>
#include <stdint.h>
#include <sys/cdefs.h>

#define KIV_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define KIV_NOEXCEPT noexcept
#define KIV_EXTERN_C_BEGIN extern "C" {
#define KIV_EXTERN_C_END }
#else
#define KIV_NOEXCEPT
#define KIV_EXTERN_C_BEGIN
#define KIV_EXTERN_C_END
#endif

KIV_EXTERN_C_BEGIN

/* The C library's assertion failure: prints the message and aborts. Declared
 * here because <assert.h> hides it when NDEBUG is set. */
extern void __assert_fail(const char *expression, const char *file, unsigned int line,
                          const char *function) __THROW __attribute__((__noreturn__));

KIV_EXTERN_C_END

/* Fails with `source`, the calling function and the text of `expression`, macros in it
 * expanded, unless the expression holds. On in every build type. */
#define KIV_ASSERT(source, expression) KIV_ASSERT_TEXT(source, expression, #expression)
#define KIV_ASSERT_EXPANDED(source, expression) KIV_ASSERT(source, expression)
#define KIV_ASSERT_TEXT(source, expression, text)                                                  \
    ((expression) ? (void)0 : __assert_fail(text, source, __LINE__, __func__))

#endif
