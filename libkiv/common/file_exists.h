#ifndef KIV_COMMON_FILE_EXISTS_H
#define KIV_COMMON_FILE_EXISTS_H

#include <cerrno>

#include <sys/stat.h>

namespace kiv {

// Whether there is a file of this name; errno says why not.
inline bool file_exists(const char *name)
{
    if (name == nullptr) {
        errno = EFAULT;
        return false;
    }
    struct stat status;
    return stat(name, &status) == 0;
}

} // namespace kiv

#endif
