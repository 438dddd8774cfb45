// Reading and writing of files and streams, with the system's reason where it fails.
#ifndef LAB_KIV_FILES_H
#define LAB_KIV_FILES_H

#include <string>
#include <string_view>

#include "failure.h"
#include "support/files.h"
#include "support/unique_fd.h"

namespace kiv_shell {

using kiv::support::unique_fd;
using kiv::support::write_all;

// Lines from a descriptor, of any length up to a limit that keeps endless input from using up
// the memory. The end of a line, "\n" or "\r\n", is not part of it.
class line_reader {
public:
    enum class outcome { line, end, failed };

    line_reader(int descriptor, std::string name) : descriptor_(descriptor), name_(std::move(name))
    {
    }

    outcome next(std::string &line);

    // Why next() failed.
    const std::string &reason() const { return reason_; }

private:
    outcome fill();
    outcome take(std::string &line, size_t length, size_t skip);

    int descriptor_;
    std::string name_;
    std::string pending_;
    size_t start_ = 0;   // where the next line begins in pending_
    size_t scanned_ = 0; // how much of pending_ is known to hold no end of line
    bool at_end_ = false;
    std::string reason_;
};

// Standard output of a command, or the file that it is sent to.
class output {
public:
    // A stream that stays open.
    explicit output(int descriptor) : descriptor_(descriptor), name_("standard output") {}

    // A file, made if it is missing. What it holds goes when the first output comes, so that a
    // command may show what is in the very file that it writes to.
    failure open(const std::string &name);

    void write(std::string_view text);

    // Writes what is left and closes a file. Reports the first failure since the beginning.
    failure finish();

private:
    void flush();

    int descriptor_;
    unique_fd file_;
    std::string name_;
    std::string buffer_;
    bool holds_old_content_ = false;
    failure failed_;
};

// "kiv: TEXT" on standard error.
void complain(std::string_view text);

// The whole of a regular file; empty when there is none.
failure read_file_if_there(const std::string &name, std::string &content);

} // namespace kiv_shell

#endif
