#ifndef OVRA_DESCRIPTOR_H
#define OVRA_DESCRIPTOR_H

#include <cstdint>
#include <functional>
#include <mutex>
#include <utility>

namespace kiv::transport {

// The owner of a descriptor that no child of fork keeps: the child has closed it before fork
// returns there, and the child's copy of the owner is empty.
class descriptor {
public:
    descriptor() = default;

    // Opens with a function that returns a descriptor, or -1 with errno; then this is empty and
    // errno as it was left.
    static descriptor open(const std::function<int()> &make);

    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
    descriptor(descriptor &&other) noexcept
        : number_(std::exchange(other.number_, -1)), process_(other.process_)
    {
    }
    descriptor &operator=(descriptor &&other) noexcept
    {
        std::swap(number_, other.number_);
        std::swap(process_, other.process_);
        return *this;
    }
    ~descriptor();

    explicit operator bool() const;
    int number() const { return number_; }

private:
    int number_ = -1;
    uint32_t process_ = 0;
};

// How many forks lie between the first process and this one.
uint32_t process_generation();

// No fork happens while somebody holds this. Whoever does must not open or close descriptors.
std::mutex &fork_mutex();

} // namespace kiv::transport

#endif
