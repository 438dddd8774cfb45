// The markers that say which files of a ring are committed.
#ifndef KIV_PARFILE_MARKER_H
#define KIV_PARFILE_MARKER_H

#include <cstdint>

namespace kiv {

// The number at the start of the marker, -1 where there is none or the marker cannot be read. A
// number that is out of range counts as the nearest one.
int32_t read_marker(const char *path);

// Makes the marker, or leaves none: half of one would count. Returns whether it is there; errno
// says why not.
bool write_marker(const char *path, int32_t number);

} // namespace kiv

#endif
