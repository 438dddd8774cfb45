// Allocations that fail on demand. For one source file of a test program: its malloc takes the
// place of the C library's, also for the libraries.
#ifndef KIV_TESTS_MEMORY_SHORTAGE_H
#define KIV_TESTS_MEMORY_SHORTAGE_H

#include <cstddef>

namespace kiv_tests {

inline bool memory_is_short;

class memory_shortage {
public:
    memory_shortage() { memory_is_short = true; }
    memory_shortage(const memory_shortage &) = delete;
    memory_shortage &operator=(const memory_shortage &) = delete;
    ~memory_shortage() { memory_is_short = false; }
};

} // namespace kiv_tests

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KIV_TESTS_SANITIZER_HAS_MALLOC
#endif
#endif

#ifdef KIV_TESTS_SANITIZER_HAS_MALLOC
#define SKIP_UNLESS_MEMORY_CAN_BE_SHORT() GTEST_SKIP() << "malloc is the sanitizer's"
#else
#define SKIP_UNLESS_MEMORY_CAN_BE_SHORT()

extern "C" void *__libc_malloc(size_t size);

extern "C" void *malloc(size_t size) noexcept
{
    return kiv_tests::memory_is_short ? nullptr : __libc_malloc(size);
}
#endif

#endif
