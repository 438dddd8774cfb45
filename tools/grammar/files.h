// Whole files in and out. Functions return 0 or an errno value (POSIX).
#ifndef GRAMMAR_FILES_H
#define GRAMMAR_FILES_H

#include <cstddef>
#include <string>
#include <string_view>

namespace kiv::grammar
{

// Reads the file, or standard input for "-". A file of more than `limit` bytes is EFBIG. It is
// read, not mapped, so that pipes will do and a file that shrinks meanwhile does no harm.
int read_file(const char *path, size_t limit, std::string &content);

// Puts a complete file in the place of `path`, or leaves what is there as it is. A device or a
// pipe is written to directly.
int replace_file(const char *path, std::string_view content);

} // namespace kiv::grammar

#endif
