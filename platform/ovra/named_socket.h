#ifndef OVRA_NAMED_SOCKET_H
#define OVRA_NAMED_SOCKET_H

#include <cstdint>
#include <string>

#include <sys/stat.h>

#include "ovra/descriptor.h"

namespace kiv::transport {

// A listening socket under the name of an address. The name belongs to whoever holds the lock of
// the file beside it; lock files stay, so that all agree on which one it is.
class named_socket {
public:
    named_socket() = default;
    named_socket(const named_socket &) = delete;
    named_socket &operator=(const named_socket &) = delete;
    ~named_socket();

    // Returns 0 or an errno value: EADDRINUSE when a living process has the name, EEXIST when what
    // stands there is no socket.
    int open(uint64_t address, mode_t mode);

    int number() const { return listener_.number(); }

private:
    int take_lock(const std::string &path);
    int lock_file(const std::string &path);
    int listen_at(const std::string &path, mode_t mode);

    std::string path_; // once the socket is there
    struct stat identity_ {};
    descriptor lock_;
    descriptor listener_;
};

} // namespace kiv::transport

#endif
