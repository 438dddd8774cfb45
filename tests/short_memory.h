// A while in which the process gets little memory beyond what it has.
#ifndef KIV_TESTS_SHORT_MEMORY_H
#define KIV_TESTS_SHORT_MEMORY_H

#include <fstream>

#include <sys/resource.h>
#include <unistd.h>

namespace kiv_tests {

class short_memory {
public:
    short_memory()
    {
        getrlimit(RLIMIT_AS, &before_);
        rlimit limit = before_;
        limit.rlim_cur = held() + spare;
        if (can_be_limited)
            setrlimit(RLIMIT_AS, &limit);
    }
    ~short_memory() { setrlimit(RLIMIT_AS, &before_); }
    short_memory(const short_memory &) = delete;
    short_memory &operator=(const short_memory &) = delete;

    // Emulators accept the limit and forget it.
    bool is_effective() const
    {
        rlimit now{};
        getrlimit(RLIMIT_AS, &now);
        return now.rlim_cur != before_.rlim_cur;
    }

private:
    static constexpr rlim_t spare = rlim_t{16} << 20;

    // AddressSanitizer ends the process instead.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
    static constexpr bool can_be_limited = false;
#else
    static constexpr bool can_be_limited = true;
#endif
#else
    static constexpr bool can_be_limited = true;
#endif

    static rlim_t held()
    {
        rlim_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
    }

    rlimit before_{};
};

} // namespace kiv_tests

#endif
