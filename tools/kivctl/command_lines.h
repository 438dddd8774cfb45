// The command lines of a file, for a session that runs them.
#ifndef KIVCTL_COMMAND_LINES_H
#define KIVCTL_COMMAND_LINES_H

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace kivctl {

// The lines that are to be run, without the empty ones and without their ends.
class command_lines {
public:
    command_lines() = default;
    command_lines(const command_lines &) = delete;
    command_lines &operator=(const command_lines &) = delete;
    ~command_lines();

    // "-" is standard input. Returns the exit status, after a message where it failed.
    int open(const char *path);

    // False at the end, and where there is no line that can be run.
    bool next(std::string &line);

    // Behind the last line: the exit status, after a message where it was not the end.
    int finish() const;

    const std::string &name() const { return name_; }
    size_t number() const { return number_; }
    std::string place() const { return name_ + ':' + std::to_string(number_); }

private:
    struct stream_closer {
        void operator()(FILE *stream) const;
    };

    std::string name_;
    std::unique_ptr<FILE, stream_closer> stream_;
    char *text_ = nullptr; // getline's
    size_t size_ = 0;
    size_t number_ = 0;
    int error_ = 0;
    bool holds_nul_ = false;
};

} // namespace kivctl

#endif
