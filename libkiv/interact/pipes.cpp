#include "pipes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kiv::interact {

namespace {

void close_if_open(int descriptor)
{
    if (descriptor >= 0)
        close(descriptor);
}

bool move_above_streams(int &descriptor)
{
    const int moved = above_streams(descriptor);
    if (moved != descriptor)
        close(descriptor);
    descriptor = moved;
    return moved >= 0;
}

} // namespace

pipe_identity::pipe_identity(int descriptor)
{
    struct stat found {};
    known_ = descriptor >= 0 && fstat(descriptor, &found) == 0;
    device_ = found.st_dev;
    inode_ = found.st_ino;
}

bool pipe_identity::names(int descriptor) const
{
    if (!known_)
        return false;
    const pipe_identity other(descriptor);
    return other.known_ && device_ == other.device_ && inode_ == other.inode_;
}

bool pipe_identity::close_end(int &descriptor) const
{
    const bool closed = !names(descriptor) || close(descriptor) == 0;
    descriptor = -1;
    return closed;
}

session_pipes::~session_pipes()
{
    for (const auto &pipe : ends_) {
        for (const int end : pipe)
            close_if_open(end);
    }
}

bool session_pipes::make()
{
    for (auto &pipe : ends_) {
        if (pipe2(pipe.data(), O_CLOEXEC) != 0)
            return false;
        for (int &end : pipe) {
            if (!move_above_streams(end))
                return false;
        }
    }
    return true;
}

int above_streams(int descriptor)
{
    const bool is_stream = descriptor >= 0 && descriptor <= STDERR_FILENO;
    return is_stream ? fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1) : descriptor;
}

} // namespace kiv::interact
