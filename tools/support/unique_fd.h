#ifndef SUPPORT_UNIQUE_FD_H
#define SUPPORT_UNIQUE_FD_H

#include <cerrno>
#include <utility>

#include <unistd.h>

namespace kiv::support {

// The owner of a descriptor.
class unique_fd {
public:
    unique_fd() = default;
    explicit unique_fd(int descriptor) : descriptor_(descriptor) {}
    unique_fd(unique_fd &&other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    unique_fd &operator=(unique_fd &&other) noexcept
    {
        unique_fd taken(std::move(other));
        std::swap(descriptor_, taken.descriptor_);
        return *this;
    }
    ~unique_fd() { close(); }

    explicit operator bool() const { return descriptor_ >= 0; }
    int get() const { return descriptor_; }

    // Returns 0, or the errno value of what could not be written after all. The descriptor is
    // gone either way; an interruption loses nothing on Linux.
    int close()
    {
        const int descriptor = std::exchange(descriptor_, -1);
        return descriptor >= 0 && ::close(descriptor) != 0 && errno != EINTR ? errno : 0;
    }

private:
    int descriptor_ = -1;
};

} // namespace kiv::support

#endif
