#include "ovra/named_socket.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include "ovra/socket_name.h"

namespace kiv::transport {

namespace {

int make_folder()
{
    constexpr mode_t mode = 0755;
    if (mkdir(socket_folder, mode) != 0)
        return errno == EEXIST ? 0 : errno;
    return chmod(socket_folder, mode) == 0 ? 0 : errno; // whatever the umask is
}

descriptor open_socket(int flags)
{
    return descriptor::open(
        [flags] { return socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | flags, 0); });
}

bool is_same_file(const struct stat &one, const struct stat &other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// Finds what stands at a path: nothing, a socket, or something that has to be left alone.
int look_at(const std::string &path, bool &is_there)
{
    struct stat found {};
    is_there = lstat(path.c_str(), &found) == 0;
    if (!is_there)
        return errno == ENOENT ? 0 : errno;
    return S_ISSOCK(found.st_mode) ? 0 : EEXIST;
}

// Somebody may listen without the lock: when its file was deleted by hand. A name is free only when
// it is sure that nobody does.
int check_listener(const std::string &path)
{
    const descriptor probe = open_socket(SOCK_NONBLOCK);
    if (!probe)
        return errno;
    const sockaddr_un address = socket_address(path);
    if (connect(probe.number(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        return EADDRINUSE;
    if (errno == ECONNREFUSED || errno == ENOENT)
        return 0;
    return errno == EAGAIN || errno == EPROTOTYPE ? EADDRINUSE : errno;
}

int check_name(const std::string &path)
{
    bool is_there = false;
    if (const int error = look_at(path, is_there); error != 0)
        return error;
    return is_there ? check_listener(path) : 0;
}

// Only a killed process leaves its temporary name.
int remove_leftover(const std::string &path)
{
    bool is_there = false;
    if (const int error = look_at(path, is_there); error != 0)
        return error;
    return !is_there || unlink(path.c_str()) == 0 ? 0 : errno;
}

} // namespace

named_socket::~named_socket()
{
    if (!lock_)
        return;
    struct stat found {};
    if (!path_.empty() && lstat(path_.c_str(), &found) == 0 && is_same_file(found, identity_))
        unlink(path_.c_str());
    listener_ = {};
    // A child that is about to execute a program may hold the descriptor a little longer.
    flock(lock_.number(), LOCK_UN);
}

int named_socket::open(uint64_t address, mode_t mode)
{
    const std::string path = socket_path(address);
    const std::string temporary = socket_path(address, ".new");
    int error = make_folder();
    if (error == 0)
        error = take_lock(socket_path(address, ".lock"));
    if (error == 0)
        error = check_name(path);
    if (error == 0)
        error = remove_leftover(temporary);
    if (error != 0)
        return error;
    error = listen_at(temporary, mode);
    if (error == 0 && rename(temporary.c_str(), path.c_str()) != 0)
        error = errno;
    if (error == 0)
        path_ = path;
    else
        unlink(temporary.c_str());
    return error;
}

int named_socket::take_lock(const std::string &path)
{
    for (int attempts = 2; attempts > 0; --attempts) {
        if (const int error = lock_file(path); error != 0) {
            lock_ = {};
            return error;
        }
        // The file may have been deleted by hand in between; others lock the one that is there.
        struct stat locked {};
        struct stat found {};
        if (fstat(lock_.number(), &locked) == 0 && lstat(path.c_str(), &found) == 0 &&
            is_same_file(locked, found))
            return 0;
    }
    lock_ = {};
    return EADDRINUSE;
}

int named_socket::lock_file(const std::string &path)
{
    constexpr int flags = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
    lock_ = descriptor::open([&path] { return ::open(path.c_str(), flags, 0600); });
    if (!lock_)
        return errno;
    if (flock(lock_.number(), LOCK_EX | LOCK_NB) == 0)
        return 0;
    return errno == EWOULDBLOCK ? EADDRINUSE : errno;
}

// A socket is bound with its own permissions: nobody can connect before it has the final ones.
int named_socket::listen_at(const std::string &path, mode_t mode)
{
    listener_ = open_socket(SOCK_NONBLOCK);
    if (!listener_)
        return errno;
    const sockaddr_un address = socket_address(path);
    const bool is_done = fchmod(listener_.number(), 0) == 0 &&
                         bind(listener_.number(), reinterpret_cast<const sockaddr *>(&address),
                              sizeof address) == 0 &&
                         listen(listener_.number(), SOMAXCONN) == 0 &&
                         lstat(path.c_str(), &identity_) == 0 && chmod(path.c_str(), mode) == 0;
    return is_done ? 0 : errno;
}

} // namespace kiv::transport
