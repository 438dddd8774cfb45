// The ring of files with commit markers.

#include <cerrno>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#include <kiv/parfile.h>

#include "marker.h"
#include "state.h"

namespace {

using kiv::parfile;

// A name is at most a field, whether it has an end or not.
std::optional<kiv::parfile_path> marker_of(const char *name)
{
    return kiv::path_in_directory({name, strnlen(name, KIV_PAR_FILE_NAME_SIZE)}, "_done");
}

// The completed file that is the newest of those considered.
class newest_file {
public:
    void consider(char *name)
    {
        const auto marker = marker_of(name);
        struct stat status;
        if (!marker || stat(marker->c_str(), &status) != 0 || status.st_mtime < time_)
            return;
        const int32_t number = kiv::read_marker(marker->c_str());
        if (status.st_mtime == time_ && number <= number_)
            return;
        name_ = name;
        time_ = status.st_mtime;
        number_ = number;
    }

    char *name() const { return name_; }

private:
    char *name_ = nullptr;
    time_t time_ = 0;
    int32_t number_ = 0;
};

} // namespace

int file_ha_init(const char *dir, char (*names)[KIV_PAR_FILE_NAME_SIZE], int32_t count) noexcept
{
    parfile.directory = dir;
    parfile.names = names;
    parfile.count = count;
    return 0;
}

char *file_ha_current_writable_filename() noexcept
{
    const int32_t count = parfile.count;
    KIV_ASSERT("parfile", count > 0);
    const int32_t index = parfile.next_writable % count;
    parfile.next_writable = (index + 1) % count;
    if (parfile.names == nullptr)
        return nullptr;
    if (const auto marker = marker_of(parfile.names[index]))
        unlink(marker->c_str());
    return parfile.names[index];
}

int file_ha_commit(const char *name) noexcept
{
    if (name == nullptr || parfile.directory == nullptr) {
        errno = EFAULT;
        return -1;
    }
    const auto marker = marker_of(name);
    if (!marker) {
        errno = ENAMETOOLONG;
        return -1;
    }
    if (!kiv::write_marker(marker->c_str(), parfile.next_commit))
        return -1;
    if (parfile.next_commit < INT32_MAX)
        ++parfile.next_commit;
    return 0;
}

char *file_ha_current_readable_filename() noexcept
{
    newest_file newest;
    for (int32_t i = 0; parfile.names != nullptr && i < parfile.count; ++i)
        newest.consider(parfile.names[i]);
    return newest.name();
}
