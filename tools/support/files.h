// Whole files in and out, for the programs. Functions that return int return 0 or an errno value
// (POSIX). They go on after interruptions, and wait for descriptors that do not block.
#ifndef SUPPORT_FILES_H
#define SUPPORT_FILES_H

#include <cstddef>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace kiv::support {

// As read (POSIX), but for the above.
ssize_t read_some(int descriptor, char *room, size_t size);

// Reads up to the end. More than `limit` bytes is EFBIG.
int read_all(int descriptor, size_t limit, std::string &content);

int write_all(int descriptor, std::string_view content);

// Puts a complete file in the place of `path`, or leaves what is there as it is, whenever the
// process or the machine stops. The new file has the mode of the old one, and its owner and group
// where that is permitted. A symbolic link stays, and the file that it leads to is replaced; a
// device or a pipe is written to directly. Until the file is whole it has the name `beside`, in the
// same folder; without one, a name of this process. SIGINT, SIGTERM and SIGHUP wait until it is
// done.
int replace_file(const std::string &path, std::string_view content, std::string_view beside = {});

// The same, but what has the name is replaced whatever it is: nobody can put a link there to have
// another file replaced.
int replace_file_itself(const std::string &path, std::string_view content,
                        std::string_view beside = {});

// Goes on to the file that a symbolic link leads to, whether that is there or not.
int follow_links(std::string &path);

} // namespace kiv::support

#endif
