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

    // How many bytes of the input were the line, with a "\r" and without the "\n".
    size_t length() const { return length_; }

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
    size_t length_ = 0;
    std::string reason_;
};

// Where text goes: to a descriptor, or to the end of a text that outlives the sink.
class text_sink {
public:
    explicit text_sink(int descriptor) : descriptor_(descriptor) {}
    explicit text_sink(std::string &text) : text_(&text) {}

    // Returns 0 or an errno value (POSIX).
    int write(std::string_view text) const;

private:
    int descriptor_ = -1;
    std::string *text_ = nullptr;
};

// Standard output of a command, or the file that it is sent to. Nothing is written before
// finish(), which a command that fails does not get to.
class output {
public:
    explicit output(text_sink sink) : sink_(sink), name_("standard output") {}

    // A file, which need not be there. What it holds stays until finish().
    failure open(const std::string &name);

    void write(std::string_view text) { text_.append(text); }

    // What has been written.
    std::string &text() { return text_; }

    // What a command that fails has written is worth to be seen all the same, though not in a file.
    void show_in_any_case() { shown_in_any_case_ = true; }
    bool is_shown_in_any_case() const { return shown_in_any_case_; }

    // Puts the output in the place of what a file holds, or leaves that as it is, also where the
    // shell or the machine stops meanwhile: but for a file that can only be written in place.
    failure finish();

private:
    // Errno values (POSIX), or 0.
    int write_whole();
    int write_in_place();

    text_sink sink_;
    unique_fd file_; // none where it is standard output, or is not there
    std::string name_;
    std::string path_; // without links, as it was before the command ran
    std::string text_;
    bool is_whole_ = false;   // the file is to be replaced by a new one
    bool is_regular_ = false; // what it holds is cut off before it is written
    bool shown_in_any_case_ = false;
};

// "kiv: TEXT" on standard error.
void complain(std::string_view text);

// The whole of a regular file, up to a limit that keeps memory for other things; empty when there
// is no such file.
failure read_file_if_there(const std::string &name, std::string &content);

} // namespace kiv_shell

#endif
