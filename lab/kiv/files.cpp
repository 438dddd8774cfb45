#include "files.h"

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kiv_shell {

namespace {

constexpr size_t longest_line = size_t{64} << 20;
constexpr size_t largest_file = size_t{256} << 20;

// /dev/stdout is a name of such a file too.
bool is_standard_stream(const struct stat &file)
{
    struct stat stream;
    for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
        if (fstat(descriptor, &stream) == 0 && stream.st_dev == file.st_dev &&
            stream.st_ino == file.st_ino)
            return true;
    }
    return false;
}

// Errors of a folder that takes no new file, or of a file that is mounted on its own.
bool forbids_replacing(int error)
{
    return error == EACCES || error == EPERM || error == EROFS || error == EBUSY;
}

} // namespace

line_reader::outcome line_reader::fill()
{
    if (start_ > 0) {
        pending_.erase(0, start_);
        scanned_ -= start_;
        start_ = 0;
    }
    if (pending_.size() > longest_line) {
        reason_ = printable(name_) + ": line too long";
        return outcome::failed;
    }
    std::array<char, 16384> room;
    const ssize_t count = kiv::support::read_some(descriptor_, room.data(), room.size());
    if (count < 0) {
        reason_ = system_failure(name_, errno);
        return outcome::failed;
    }
    pending_.append(room.data(), static_cast<size_t>(count));
    return count == 0 ? outcome::end : outcome::line;
}

line_reader::outcome line_reader::take(std::string &line, size_t length, size_t skip)
{
    line.assign(pending_, start_, length);
    length_ = length;
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    start_ += length + skip;
    scanned_ = start_;
    return outcome::line;
}

line_reader::outcome line_reader::next(std::string &line)
{
    for (;;) {
        const size_t end = pending_.find('\n', scanned_);
        if (end != std::string::npos)
            return take(line, end - start_, 1);
        scanned_ = pending_.size();
        if (at_end_)
            return start_ == pending_.size() ? outcome::end
                                             : take(line, pending_.size() - start_, 0);
        const outcome filled = fill();
        if (filled == outcome::failed)
            return filled;
        at_end_ = filled == outcome::end;
    }
}

int text_sink::write(std::string_view text) const
{
    if (text_ == nullptr)
        return write_all(descriptor_, text);
    text_->append(text);
    return 0;
}

failure output::open(const std::string &name)
{
    name_ = name;
    path_ = name;
    is_whole_ = true;
    if (const int error = kiv::support::follow_links(path_); error != 0)
        return system_failure(name, error);
    file_ = unique_fd(::open(name.c_str(), O_WRONLY | O_CLOEXEC));
    if (!file_ && errno == ENOENT) {
        // That it can be made is known before the command runs.
        const unique_fd made(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
        if (made)
            return unlink(path_.c_str()) == 0 ? failure() : system_failure(name, errno);
    }
    struct stat status;
    if (!file_ || fstat(file_.get(), &status) != 0)
        return system_failure(name, errno);
    sink_ = text_sink(file_.get());
    is_regular_ = S_ISREG(status.st_mode);
    // A new file would be missed under the other names, and by who has the old one open.
    is_whole_ = is_regular_ && status.st_nlink == 1 && !is_standard_stream(status);
    return {};
}

int output::write_whole()
{
    // The name may be as long as a name can be.
    const std::string beside = ".kiv." + std::to_string(getpid()) + ".new";
    const int error = kiv::support::replace_file_itself(path_, text_, beside);
    // Who may not change the folder may be permitted to write the file all the same.
    return file_ && forbids_replacing(error) ? write_in_place() : error;
}

int output::write_in_place()
{
    if (is_regular_ && ftruncate(file_.get(), 0) != 0)
        return errno;
    const int written = sink_.write(text_);
    const int closed = file_.close();
    return written != 0 ? written : closed;
}

failure output::finish()
{
    const int error = is_whole_ ? write_whole() : write_in_place();
    return error == 0 ? failure() : system_failure(name_, error);
}

void complain(std::string_view text)
{
    write_all(STDERR_FILENO, "kiv: " + std::string(text) + "\n");
}

failure read_file_if_there(const std::string &name, std::string &content)
{
    content.clear();
    // Without O_NONBLOCK, a pipe of that name would be waited for.
    const unique_fd file(open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file && errno == ENOENT)
        return {};
    struct stat status;
    if (!file || fstat(file.get(), &status) != 0)
        return system_failure(name, errno);
    if (!S_ISREG(status.st_mode))
        return printable(name) + ": not a regular file";
    const int error = kiv::support::read_all(file.get(), largest_file, content);
    return error == 0 ? failure() : system_failure(name, error);
}

} // namespace kiv_shell
