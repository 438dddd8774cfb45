/*
 * platform.h - what the headers of libkivplatform share.
 *
 * libkivplatform provides the services of the switch itself on any Linux
 * machine. libkiv uses them only through the headers in this folder, so that
 * another implementation with the same functions can be put in its place.
 *
 * Plain C functions; none of them throws. Pointers must not be null, the
 * caller keeps ownership of what it passes, and no function keeps state
 * unless its header says so.
 */
#ifndef KIV_PLATFORM_PLATFORM_H
#define KIV_PLATFORM_PLATFORM_H

#include <stddef.h>
#include <stdint.h>

#define KIV_PLATFORM_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define KIV_PLATFORM_NOEXCEPT noexcept
#define KIV_PLATFORM_BEGIN extern "C" {
#define KIV_PLATFORM_END }
#else
#define KIV_PLATFORM_NOEXCEPT
#define KIV_PLATFORM_BEGIN
#define KIV_PLATFORM_END
#endif

#endif
