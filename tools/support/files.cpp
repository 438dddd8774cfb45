#include "support/files.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include "support/unique_fd.h"

namespace kiv::support {

namespace {

// Whether the call that failed shall be made again, now that the descriptor is ready.
bool again(int descriptor, short event)
{
    if (errno == EAGAIN) {
        pollfd wait{descriptor, event, 0};
        return poll(&wait, 1, -1) >= 0 || errno == EINTR;
    }
    return errno == EINTR;
}

int write_and_sync(unique_fd &file, std::string_view content)
{
    if (const int error = write_all(file.get(), content); error != 0)
        return error;
    if (fsync(file.get()) != 0)
        return errno;
    return file.close();
}

int write_in_place(const std::string &path, std::string_view content)
{
    unique_fd file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    if (!file)
        return errno;
    const int written = write_all(file.get(), content);
    const int closed = file.close();
    return written != 0 ? written : closed;
}

// The name of a file is only on the disk when its folder is.
int sync_folder_of(const std::string &path)
{
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const unique_fd opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return opened && fsync(opened.get()) == 0 ? 0 : errno;
}

// A file of its own: whatever has the name is taken away first and never written through.
int write_new(const std::string &path, std::string_view content)
{
    unlink(path.c_str());
    unique_fd file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    return file ? write_and_sync(file, content) : errno;
}

// A file size limit shall be an error of write, so that the unfinished file can be removed.
class size_limit_as_error {
public:
    size_limit_as_error() : previous_(std::signal(SIGXFSZ, SIG_IGN)) {}
    ~size_limit_as_error() { std::signal(SIGXFSZ, previous_); }
    size_limit_as_error(const size_limit_as_error &) = delete;
    size_limit_as_error &operator=(const size_limit_as_error &) = delete;

private:
    void (*previous_)(int);
};

} // namespace

ssize_t read_some(int descriptor, char *room, size_t size)
{
    for (;;) {
        const ssize_t count = read(descriptor, room, size);
        if (count >= 0 || !again(descriptor, POLLIN))
            return count;
    }
}

int read_all(int descriptor, size_t limit, std::string &content)
{
    content.clear();
    std::array<char, 65536> room;
    for (;;) {
        const ssize_t count = read_some(descriptor, room.data(), room.size());
        if (count < 0)
            return errno;
        if (count == 0)
            return 0;
        content.append(room.data(), static_cast<size_t>(count));
        if (content.size() > limit)
            return EFBIG;
    }
}

int write_all(int descriptor, std::string_view content)
{
    while (!content.empty()) {
        const ssize_t count = write(descriptor, content.data(), content.size());
        if (count >= 0)
            content.remove_prefix(static_cast<size_t>(count));
        else if (!again(descriptor, POLLOUT))
            return errno;
    }
    return 0;
}

int replace_file(const std::string &path, std::string_view content, std::string beside)
{
    struct stat status;
    if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        return write_in_place(path, content);
    if (beside.empty())
        beside = path + '.' + std::to_string(getpid()) + ".new";
    const size_limit_as_error limited;
    int error = write_new(beside, content);
    if (error == 0 && std::rename(beside.c_str(), path.c_str()) != 0)
        error = errno;
    if (error != 0) {
        unlink(beside.c_str());
        return error;
    }
    return sync_folder_of(path);
}

} // namespace kiv::support
