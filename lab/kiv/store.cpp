#include "store.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "files.h"

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
    // The lock keeps others away from the name.
    const int error =
        kiv::support::replace_file(file_name(), text, directory_ + "/running.cfg.new");
    return error == 0 ? failure() : system_failure(file_name(), error);
}

} // namespace kiv_shell
