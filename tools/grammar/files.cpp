#include "grammar/files.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kiv::grammar
{

namespace
{

constexpr size_t read_step = size_t{1} << 16;

class unique_fd
{
public:
    explicit unique_fd(int fd) : fd_(fd) {}
    ~unique_fd() { close(); }
    unique_fd(const unique_fd &) = delete;
    unique_fd &operator=(const unique_fd &) = delete;

    int get() const { return fd_; }

    // The descriptor is gone whatever close reports; EINTR loses nothing on Linux.
    int close()
    {
        const int fd = std::exchange(fd_, -1);
        return fd >= 0 && ::close(fd) != 0 && errno != EINTR ? errno : 0;
    }

private:
    int fd_;
};

// Removes the file at the end, unless it got its final name.
class temporary_name
{
public:
    explicit temporary_name(std::string name) : name_(std::move(name)) {}
    ~temporary_name()
    {
        if (!name_.empty())
            unlink(name_.c_str());
    }
    temporary_name(const temporary_name &) = delete;
    temporary_name &operator=(const temporary_name &) = delete;

    int rename_to(const char *path)
    {
        if (std::rename(name_.c_str(), path) != 0)
            return errno;
        name_.clear();
        return 0;
    }

private:
    std::string name_;
};

int read_all(int fd, size_t limit, std::string &content)
{
    content.clear();
    while (content.size() <= limit) {
        const size_t used = content.size();
        const size_t step = std::min(read_step, limit + 1 - used);
        content.resize(used + step);
        const ssize_t got = read(fd, content.data() + used, step);
        const int error = got < 0 ? errno : 0;
        content.resize(used + static_cast<size_t>(std::max<ssize_t>(got, 0)));
        if (got == 0)
            return 0;
        if (error != 0 && error != EINTR)
            return error;
    }
    return EFBIG;
}

int write_all(int fd, std::string_view content)
{
    while (!content.empty()) {
        const ssize_t written = write(fd, content.data(), content.size());
        if (written < 0 && errno != EINTR)
            return errno;
        content.remove_prefix(static_cast<size_t>(std::max<ssize_t>(written, 0)));
    }
    return 0;
}

int write_and_close(unique_fd &file, std::string_view content)
{
    const int written = write_all(file.get(), content);
    const int closed = file.close();
    return written != 0 ? written : closed;
}

int write_in_place(const char *path, std::string_view content)
{
    unique_fd file(open(path, O_WRONLY | O_CLOEXEC));
    return file.get() < 0 ? errno : write_and_close(file, content);
}

bool exists_as_no_regular_file(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0 && !S_ISREG(status.st_mode);
}

mode_t mode_of_new_files()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// In the directory of `path`, since a name can only change within a file system.
std::string temporary_pattern(std::string_view path)
{
    const size_t slash = path.rfind('/');
    const size_t directory = slash == std::string_view::npos ? 0 : slash + 1;
    return std::string(path.substr(0, directory)) + ".kivctl.XXXXXX";
}

} // namespace

int read_file(const char *path, size_t limit, std::string &content)
{
    if (std::string_view(path) == "-")
        return read_all(STDIN_FILENO, limit, content);
    const unique_fd file(open(path, O_RDONLY | O_CLOEXEC));
    return file.get() < 0 ? errno : read_all(file.get(), limit, content);
}

int replace_file(const char *path, std::string_view content)
{
    if (exists_as_no_regular_file(path))
        return write_in_place(path, content);
    // A file size limit shall be an error of write, so that the temporary file can be removed.
    std::signal(SIGXFSZ, SIG_IGN);
    std::string name = temporary_pattern(path);
    unique_fd file(mkostemp(name.data(), O_CLOEXEC));
    if (file.get() < 0)
        return errno;
    temporary_name temporary(std::move(name));
    if (fchmod(file.get(), mode_of_new_files()) != 0)
        return errno;
    if (const int error = write_all(file.get(), content); error != 0)
        return error;
    if (fsync(file.get()) != 0)
        return errno;
    if (const int error = file.close(); error != 0)
        return error;
    return temporary.rename_to(path);
}

} // namespace kiv::grammar
