#include "marker.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace kiv {

namespace {

template <class Call>
auto uninterrupted(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

// A pipe of that name must not hold up the process: O_NONBLOCK changes nothing for a file.
class open_marker {
public:
    open_marker(const char *path, int flags)
        : descriptor_(
              uninterrupted([&] { return open(path, flags | O_CLOEXEC | O_NONBLOCK, 0666); }))
    {
    }
    ~open_marker() { close(); }
    open_marker(const open_marker &) = delete;
    open_marker &operator=(const open_marker &) = delete;

    explicit operator bool() const { return descriptor_ >= 0; }

    // What is there, up to `size` bytes; less where reading fails.
    size_t read(char *room, size_t size)
    {
        size_t length = 0;
        while (length < size) {
            const ssize_t count =
                uninterrupted([&] { return ::read(descriptor_, room + length, size - length); });
            if (count <= 0)
                break;
            length += static_cast<size_t>(count);
        }
        return length;
    }

    bool write(std::string_view text)
    {
        while (!text.empty()) {
            const ssize_t count =
                uninterrupted([&] { return ::write(descriptor_, text.data(), text.size()); });
            if (count < 0)
                return false;
            text.remove_prefix(static_cast<size_t>(count));
        }
        return true;
    }

    // Whether all that was written has been taken. An interruption loses nothing on Linux.
    bool close()
    {
        const int descriptor = std::exchange(descriptor_, -1);
        return descriptor < 0 || ::close(descriptor) == 0 || errno == EINTR;
    }

private:
    int descriptor_;
};

} // namespace

int32_t read_marker(const char *path)
{
    open_marker marker(path, O_RDONLY);
    if (!marker)
        return -1;
    std::array<char, 64> text{};
    marker.read(text.data(), text.size() - 1);
    char *end = nullptr;
    const long long number = std::strtoll(text.data(), &end, 10);
    if (end == text.data())
        return -1;
    return static_cast<int32_t>(std::clamp<long long>(number, INT32_MIN, INT32_MAX));
}

bool write_marker(const char *path, int32_t number)
{
    std::array<char, 16> digits;
    const char *end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    open_marker marker(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (!marker)
        return false;
    if (marker.write({digits.data(), static_cast<size_t>(end - digits.data())}) && marker.close())
        return true;
    const int reason = errno;
    unlink(path);
    errno = reason;
    return false;
}

} // namespace kiv
