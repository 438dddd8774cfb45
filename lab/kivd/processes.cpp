#include "processes.h"

#include <cerrno>
#include <charconv>
#include <string>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/files.h"

namespace kivd {

namespace {

using kiv::support::unique_fd;

constexpr size_t longest_stat = 4096;
constexpr int start_field = 22; // of /proc/PID/stat, proc(5)
constexpr int first_field_behind_name = 3;

// When the process started; 0 where that cannot be told. Its name, in parentheses, may hold
// anything.
uint64_t start_time(int32_t pid)
{
    const unique_fd file(
        open(("/proc/" + std::to_string(pid) + "/stat").c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    if (!file || kiv::support::read_all(file.get(), longest_stat, text) != 0)
        return 0;
    size_t at = text.rfind(')');
    for (int field = first_field_behind_name - 1; field < start_field && at != text.npos; ++field)
        at = text.find(' ', at + 1);
    uint64_t started = 0;
    if (at != text.npos)
        std::from_chars(text.data() + at + 1, text.data() + text.size(), started);
    return started;
}

// Tells this start of the machine from others; 0 where that cannot be told.
uint32_t boot_number()
{
    const unique_fd file(open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC));
    std::string text;
    if (!file || kiv::support::read_all(file.get(), longest_stat, text) != 0)
        return 0;
    // The first digits of a random UUID.
    uint32_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number, 16);
    return number;
}

} // namespace

int processes::open()
{
    watch_ = unique_fd(epoll_create1(EPOLL_CLOEXEC));
    boot_ = boot_number();
    return watch_ ? 0 : errno;
}

std::optional<process> processes::follow(int32_t pid)
{
    if (const auto known = by_pid_.find(pid); known != by_pid_.end())
        return known->second.which;
    unique_fd descriptor(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    if (!descriptor)
        return std::nullopt;
    const process which{pid, boot_, start_time(pid)};
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = pid;
    if (epoll_ctl(watch_.get(), EPOLL_CTL_ADD, descriptor.get(), &event) != 0)
        return std::nullopt;
    by_pid_.emplace(pid, followed{std::move(descriptor), which});
    return which;
}

bool processes::follow(const process &expected)
{
    const bool known = by_pid_.contains(expected.pid);
    const std::optional<process> found = follow(expected.pid);
    if (found != expected && !known)
        by_pid_.erase(expected.pid);
    return found == expected;
}

std::optional<process> processes::take_ended()
{
    epoll_event event;
    if (epoll_wait(watch_.get(), &event, 1, 0) != 1)
        return std::nullopt;
    const auto found = by_pid_.find(event.data.fd);
    if (found == by_pid_.end())
        return std::nullopt;
    const process ended = found->second.which;
    by_pid_.erase(found);
    return ended;
}

} // namespace kivd
