// Allocations that fail on demand. For one source file of a test program: its malloc takes the
// place of the C library's, also for the libraries. It leaves errno to those who tell of it.
#ifndef KIV_TESTS_MEMORY_SHORTAGE_H
#define KIV_TESTS_MEMORY_SHORTAGE_H

#include <cstddef>
#include <cstdint>

namespace kiv_tests {

inline size_t failing_size = SIZE_MAX;

// While it lives, there is no block of this size or above.
class memory_shortage {
public:
    explicit memory_shortage(size_t size = 0) { failing_size = size; }
    memory_shortage(const memory_shortage &) = delete;
    memory_shortage &operator=(const memory_shortage &) = delete;
    ~memory_shortage() { failing_size = SIZE_MAX; }
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
extern "C" void *__libc_realloc(void *block, size_t size);

extern "C" void *malloc(size_t size) noexcept
{
    return size < kiv_tests::failing_size ? __libc_malloc(size) : nullptr;
}

extern "C" void *realloc(void *block, size_t size) noexcept
{
    return size < kiv_tests::failing_size ? __libc_realloc(block, size) : nullptr;
}
#endif

#endif
