#include "support/files.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <optional>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/xattr.h>

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

// The name of a file is only on the disk when its folder is. One that may not be read, though files
// may be made in it, is left to the system.
int sync_folder_of(const std::string &path)
{
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const unique_fd opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened)
        return errno == EACCES ? 0 : errno;
    return fsync(opened.get()) == 0 ? 0 : errno;
}

// Whether who else may read and write the file is now as in the old one, whose access control list
// stands behind the bits of its group. The folder may have given the new one a list of its own.
bool copy_access_list(int descriptor, const std::string &old)
{
    constexpr const char *name = "system.posix_acl_access";
    std::array<char, 65536> list;
    const ssize_t size = getxattr(old.c_str(), name, list.data(), list.size());
    if (size >= 0)
        return fsetxattr(descriptor, name, list.data(), static_cast<size_t>(size), 0) == 0;
    if (errno != ENODATA)
        return errno == ENOTSUP;
    return fremovexattr(descriptor, name) == 0 || errno == ENODATA;
}

// Gives a new file what the old one has: its mode, and its owner and group where this user may.
// What the old group was permitted is not for another one.
int make_like(int descriptor, const std::string &path, const struct stat &old)
{
    mode_t mode = old.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
    const bool is_of_group = fchown(descriptor, old.st_uid, old.st_gid) == 0 ||
                             fchown(descriptor, static_cast<uid_t>(-1), old.st_gid) == 0;
    if (!copy_access_list(descriptor, path) || !is_of_group)
        mode &= ~static_cast<mode_t>(S_IRWXG);
    return fchmod(descriptor, mode) == 0 ? 0 : errno;
}

// A file of its own: whatever has the name is taken away first and never written through. Nothing
// is in it before it has the mode, so that nobody reads what the old file kept from them.
int write_new(const std::string &path, std::string_view content, const std::string &like,
              const std::optional<struct stat> &old)
{
    unlink(path.c_str());
    const mode_t mode = old ? S_IRUSR | S_IWUSR : 0666;
    unique_fd file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!file)
        return errno;
    if (const int error = old ? make_like(file.get(), like, *old) : 0; error != 0)
        return error;
    return write_and_sync(file, content);
}

// What would end the process in the middle, and leave the unfinished file behind, is held back; a
// file size limit shall be an error of write.
class uninterrupted {
public:
    uninterrupted() : size_limit_action_(std::signal(SIGXFSZ, SIG_IGN))
    {
        sigset_t ending;
        sigemptyset(&ending);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP})
            sigaddset(&ending, signal);
        sigprocmask(SIG_BLOCK, &ending, &mask_);
    }
    ~uninterrupted()
    {
        std::signal(SIGXFSZ, size_limit_action_);
        sigprocmask(SIG_SETMASK, &mask_, nullptr);
    }
    uninterrupted(const uninterrupted &) = delete;
    uninterrupted &operator=(const uninterrupted &) = delete;

private:
    void (*size_limit_action_)(int);
    sigset_t mask_{};
};

constexpr int most_links = 40;

int write_and_rename(const std::string &path, std::string_view content, const std::string &beside,
                     const std::optional<struct stat> &old)
{
    const uninterrupted held;
    int error = write_new(beside, content, path, old);
    if (error == 0 && std::rename(beside.c_str(), path.c_str()) != 0)
        error = errno;
    if (error != 0) {
        unlink(beside.c_str());
        return error;
    }
    return sync_folder_of(path);
}

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

int follow_links(std::string &path)
{
    std::filesystem::path followed = path;
    for (int i = 0; i < most_links; ++i) {
        std::error_code not_a_link;
        const std::filesystem::path target = std::filesystem::read_symlink(followed, not_a_link);
        if (not_a_link) {
            path = followed;
            return 0;
        }
        followed = followed.parent_path() / target;
    }
    return ELOOP;
}

int replace_file(const std::string &path, std::string_view content, std::string_view beside)
{
    struct stat status;
    const bool exists = stat(path.c_str(), &status) == 0;
    if (!exists && errno != ENOENT)
        return errno;
    if (exists && !S_ISREG(status.st_mode))
        return write_in_place(path, content);
    std::string file = path;
    const int error = follow_links(file);
    return error != 0 ? error : replace_file_itself(file, content, beside);
}

int replace_file_itself(const std::string &path, std::string_view content, std::string_view beside)
{
    struct stat status;
    const bool exists = lstat(path.c_str(), &status) == 0;
    if (!exists && errno != ENOENT)
        return errno;
    std::filesystem::path unfinished = path;
    if (beside.empty())
        unfinished += '.' + std::to_string(getpid()) + ".new";
    else
        unfinished.replace_filename(std::filesystem::path(beside).filename());
    return write_and_rename(path, content, unfinished,
                            exists && S_ISREG(status.st_mode) ? std::optional(status)
                                                              : std::nullopt);
}

} // namespace kiv::support
