#include "daemon_watch.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string_view>

#include <sys/inotify.h>
#include <unistd.h>

namespace kiv::module {

namespace {

constexpr const char *socket_folder = "/run/kiv";
constexpr std::string_view daemon_socket = "FE000000-37";

} // namespace

int daemon_watch::open()
{
    events_ = support::unique_fd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!events_ || inotify_add_watch(events_.get(), socket_folder, IN_CREATE | IN_MOVED_TO) < 0)
        return errno;
    return 0;
}

bool daemon_watch::take()
{
    bool appeared = false;
    alignas(inotify_event) std::array<char, 4096> room;
    for (;;) {
        const ssize_t size = read(events_.get(), room.data(), room.size());
        if (size < 0 && errno == EINTR)
            continue;
        if (size <= 0)
            return appeared;
        for (const char *at = room.data(); at < room.data() + size;) {
            inotify_event event;
            std::memcpy(&event, at, sizeof event);
            // Where events were lost, it may have been among them.
            appeared = appeared || (event.mask & IN_Q_OVERFLOW) != 0 ||
                       (event.len > 0 && at + sizeof event == daemon_socket);
            at += sizeof event + event.len;
        }
    }
}

} // namespace kiv::module
