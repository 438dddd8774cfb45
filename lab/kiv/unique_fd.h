#ifndef LAB_KIV_UNIQUE_FD_H
#define LAB_KIV_UNIQUE_FD_H

#include <utility>

#include <unistd.h>

namespace kiv_shell {

class unique_fd {
public:
    unique_fd() = default;
    explicit unique_fd(int descriptor) : descriptor_(descriptor) {}
    unique_fd(unique_fd &&other) noexcept : descriptor_(other.release()) {}
    unique_fd &operator=(unique_fd &&other) noexcept
    {
        unique_fd taken(std::move(other));
        std::swap(descriptor_, taken.descriptor_);
        return *this;
    }
    ~unique_fd()
    {
        if (descriptor_ >= 0)
            close(descriptor_);
    }

    explicit operator bool() const { return descriptor_ >= 0; }
    int get() const { return descriptor_; }
    int release() { return std::exchange(descriptor_, -1); }

private:
    int descriptor_ = -1;
};

} // namespace kiv_shell

#endif
