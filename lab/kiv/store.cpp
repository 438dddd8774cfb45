#include "store.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "files.h"

namespace kiv_shell {

namespace {

constexpr mode_t directory_mode = 0755;
constexpr mode_t lock_mode = 0600; // who may read it could hold it

} // namespace

bool configuration_store::state::operator==(const state &other) const
{
    return device == other.device && inode == other.inode && size == other.size &&
           changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
}

failure configuration_store::read(std::string &text, bool &is_whole) const
{
    if (auto failed = read_file_if_there(file_name(), text))
        return failed;
    const size_t lines = text.rfind('\n') + 1;
    is_whole = lines == text.size();
    // Zeros are no beginning of a line, but damage.
    if (text.find('\0', lines) == std::string::npos)
        text.resize(lines);
    return {};
}

failure configuration_store::lock()
{
    const std::string name = directory_ + "/.lock";
    if (!lock_) {
        if (mkdir(directory_.c_str(), directory_mode) != 0 && errno != EEXIST)
            return system_failure(directory_, errno);
        lock_ = unique_fd(open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, lock_mode));
    }
    if (!lock_)
        return system_failure(name, errno);
    while (flock(lock_.get(), LOCK_EX) != 0) {
        if (errno != EINTR)
            return system_failure(name, errno);
    }
    return {};
}

void configuration_store::unlock()
{
    flock(lock_.get(), LOCK_UN);
}

configuration_store::state configuration_store::now() const
{
    struct stat status {};
    if (stat(file_name().c_str(), &status) != 0)
        return {};
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim};
}

failure configuration_store::open_for(const state &file)
{
    if (appended_ && file.device == known_.device && file.inode == known_.inode)
        return {};
    appended_ = unique_fd(open(file_name().c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    known_ = file;
    return appended_ ? failure() : system_failure(file_name(), errno);
}

failure configuration_store::append(std::string_view text, const state &file)
{
    if (auto failed = open_for(file))
        return failed;
    const int error = write_all(appended_.get(), text);
    if (error != 0 && ftruncate(appended_.get(), file.size) != 0)
        return system_failure(file_name(), errno);
    return error == 0 ? failure() : system_failure(file_name(), error);
}

failure configuration_store::replace(const std::string &text)
{
    // The lock keeps others away from the name.
    const int error =
        kiv::support::replace_file(file_name(), text, directory_ + "/running.cfg.new");
    return error == 0 ? failure() : system_failure(file_name(), error);
}

failure configuration_store::settle() const
{
    const unique_fd file(open(file_name().c_str(), O_RDONLY | O_CLOEXEC));
    if (file && fdatasync(file.get()) == 0)
        return {};
    return errno == ENOENT ? failure() : system_failure(file_name(), errno);
}

} // namespace kiv_shell
