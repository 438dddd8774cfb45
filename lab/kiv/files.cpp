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
    file_ = unique_fd(::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    is_new_ = static_cast<bool>(file_);
    if (!file_ && errno == EEXIST)
        file_ = unique_fd(::open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
    struct stat status;
    if (!file_ || fstat(file_.get(), &status) != 0)
        return system_failure(name, errno);
    sink_ = text_sink(file_.get());
    is_regular_file_ = S_ISREG(status.st_mode);
    name_ = name;
    return {};
}

output::~output()
{
    if (is_new_)
        unlink(name_.c_str());
}

failure output::finish()
{
    is_new_ = false;
    if (is_regular_file_ && ftruncate(file_.get(), 0) != 0)
        return system_failure(name_, errno);
    const int written = sink_.write(text_);
    const int closed = file_.close();
    const int error = written != 0 ? written : closed;
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
