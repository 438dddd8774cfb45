#include "store.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "files.h"
#include "unique_fd.h"

namespace kiv_shell {

namespace {

constexpr mode_t directory_mode = 0755;
constexpr mode_t file_mode = 0644;

failure take_lock(const std::string &name, unique_fd &lock)
{
    lock = unique_fd(open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, file_mode));
    if (!lock)
        return system_failure(name, errno);
    while (flock(lock.get(), LOCK_EX) != 0) {
        if (errno != EINTR)
            return system_failure(name, errno);
    }
    return {};
}

int write_file(const std::string &name, const std::string &text)
{
    unique_fd file(
        open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, file_mode));
    if (!file)
        return errno;
    if (const int error = write_all(file.get(), text); error != 0)
        return error;
    return fsync(file.get()) == 0 && close(file.release()) == 0 ? 0 : errno;
}

int sync_directory(const std::string &name)
{
    const unique_fd directory(open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return directory && fsync(directory.get()) == 0 ? 0 : errno;
}

} // namespace

failure configuration_store::read(std::string &text) const
{
    return read_file_if_there(file_name(), text);
}

failure configuration_store::update(const std::function<failure(std::string &text)> &change) const
{
    if (mkdir(directory_.c_str(), directory_mode) != 0 && errno != EEXIST)
        return system_failure(directory_, errno);
    unique_fd lock;
    if (auto failed = take_lock(directory_ + "/.lock", lock))
        return failed;
    std::string text;
    if (auto failed = read(text))
        return failed;
    std::string changed = text;
    if (auto failed = change(changed))
        return failed;
    return changed == text ? failure() : write(changed);
}

failure configuration_store::write(const std::string &text) const
{
    const std::string beside = directory_ + "/running.cfg.new";
    int error = write_file(beside, text);
    if (error == 0 && std::rename(beside.c_str(), file_name().c_str()) != 0)
        error = errno;
    if (error != 0) {
        unlink(beside.c_str());
        return system_failure(file_name(), error);
    }
    error = sync_directory(directory_);
    return error == 0 ? failure() : system_failure(directory_, error);
}

} // namespace kiv_shell
