#include "readiness.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "support/files.h"

namespace kivd {

void notify_ready()
{
    constexpr std::string_view ready = "READY=1";
    const char *name = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const size_t length = name == nullptr ? 0 : std::strlen(name);
    if (length == 0 || length >= sizeof address.sun_path)
        return;
    std::memcpy(address.sun_path, name, length);
    // A name that begins with "@" is one of the abstract kind.
    if (address.sun_path[0] == '@')
        address.sun_path[0] = '\0';
    const kiv::support::unique_fd socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (socket)
        sendto(socket.get(), ready.data(), ready.size(), MSG_NOSIGNAL,
               reinterpret_cast<const sockaddr *>(&address),
               static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length));
}

int background::enter()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return errno;
    kiv::support::unique_fd from_daemon(ends[0]);
    to_starter_ = kiv::support::unique_fd(ends[1]);
    const pid_t child = fork();
    if (child < 0)
        return errno;
    if (child > 0) {
        to_starter_.close();
        char byte;
        _exit(kiv::support::read_some(from_daemon.get(), &byte, 1) == 1 ? EXIT_SUCCESS
                                                                        : EXIT_FAILURE);
    }
    setsid();
    return 0;
}

void background::done()
{
    if (!to_starter_)
        return;
    const kiv::support::unique_fd nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
    for (int stream = 0; nothing && stream <= STDERR_FILENO; ++stream)
        dup2(nothing.get(), stream);
    static_cast<void>(kiv::support::write_all(to_starter_.get(), "1"));
    to_starter_.close();
}

} // namespace kivd
