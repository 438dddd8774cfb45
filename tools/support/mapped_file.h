// Whole files to read, without a copy where that can be.
#ifndef SUPPORT_MAPPED_FILE_H
#define SUPPORT_MAPPED_FILE_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace kiv::support {

struct mapping;

// The content of a file: a mapping of a regular one, a copy of any other.
//
// The rule for files that others may have mapped is that they are replaced by a rename
// (replace_file), and never written in place: who has the old file mapped keeps it whole. Where
// somebody breaks the rule, the bytes change under the reader; and where the file is cut, the
// reader ends with status 1 and "PROGRAM: FILE: was cut while in use" on standard error as soon as
// it reads what is gone. For that, the first mapping takes the signal SIGBUS. One that comes from
// elsewhere goes to what had the signal before.
//
// For one thread, as the rest of the library.
class mapped_file {
public:
    mapped_file();
    mapped_file(mapped_file &&other) noexcept;
    mapped_file &operator=(mapped_file &&other) noexcept;
    ~mapped_file();

    // Takes a file of at most `limit` bytes in the place of what is held; "-" is standard input.
    // Returns 0, or an errno value and holds nothing: EFBIG for a longer file, EISDIR for a
    // directory. Waits for the other end of a pipe.
    int open(const char *path, size_t limit);

    // Valid until the file is opened again, moved from or destroyed; at the start of a page where
    // the file is mapped. Empty where nothing is held.
    std::string_view bytes() const;

private:
    int take(const char *path, size_t limit);
    int map(int descriptor, size_t size, const char *path);

    std::unique_ptr<mapping> mapping_;
    std::string copy_;
};

} // namespace kiv::support

#endif
