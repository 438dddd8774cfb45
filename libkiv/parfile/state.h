// What the two mechanisms of kiv/parfile.h remember, and the paths that they share.
#ifndef KIV_PARFILE_STATE_H
#define KIV_PARFILE_STATE_H

#include <optional>
#include <string_view>

#include <kiv/parfile.h>

#include "common/text.h"

namespace kiv {

struct parfile_state {
    const char *directory = nullptr;
    char (*names)[KIV_PAR_FILE_NAME_SIZE] = nullptr;
    int32_t count = 0;
    int32_t next_writable = 0;
    int32_t next_commit = 1;
    uint32_t sequence_number = 0;
};

inline parfile_state parfile;

using parfile_path = fixed_text<KIV_PAR_FILE_PATH_SIZE>;

// "DIRECTORY/NAME" and the ending; nothing where there is no directory or the path does not fit.
inline std::optional<parfile_path> path_in_directory(std::string_view name, std::string_view ending)
{
    if (parfile.directory == nullptr)
        return {};
    parfile_path path;
    path.append(parfile.directory).append("/").append(name).append(ending);
    if (path.overflowed())
        return {};
    return path;
}

} // namespace kiv

#endif
