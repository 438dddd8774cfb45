#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <sys/select.h>
#include <unistd.h>

#include <kiv/kiv_lib.h>
#include <kiv/platform/syserr.h>

namespace {

// A line that keeps its memory for the next one.
class input_line {
public:
    // Reads up to and with the next newline. Returns the number of characters, -1 at the end of the
    // input, and -1 with failed() where memory is short. A signal does not end the line.
    ssize_t read()
    {
        length_ = 0;
        for (;;) {
            const int character = std::getc(stdin);
            if (character == EOF && was_interrupted())
                continue;
            if (character == EOF || !append(static_cast<char>(character)) || character == '\n')
                break;
        }
        // Whoever asks next reads again.
        if (std::feof(stdin))
            std::clearerr(stdin);
        const ssize_t count = length_ == 0 || failed_ ? -1 : static_cast<ssize_t>(length_);
        if (!append('\0'))
            return -1;
        if (char *newline = std::strchr(text_.get(), '\n'); newline != nullptr)
            *newline = '\0';
        return count;
    }

    bool failed() const { return failed_; }
    const char *text() const { return text_.get(); }

private:
    struct release {
        void operator()(char *text) const { std::free(text); }
    };

    static bool was_interrupted()
    {
        if (!std::ferror(stdin) || errno != EINTR)
            return false;
        std::clearerr(stdin);
        return true;
    }

    bool append(char character)
    {
        if (length_ == capacity_ && !grow())
            return false;
        text_.get()[length_++] = character;
        return true;
    }

    bool grow()
    {
        const size_t capacity = capacity_ == 0 ? KIV_USER_INPUT_MAX : 2 * capacity_;
        auto *grown = static_cast<char *>(std::realloc(text_.get(), capacity));
        if (grown == nullptr) {
            failed_ = true;
            return false;
        }
        text_.release(); // NOLINT: realloc has freed it or handed it on
        text_.reset(grown);
        capacity_ = capacity;
        return true;
    }

    std::unique_ptr<char, release> text_;
    size_t capacity_ = 0;
    size_t length_ = 0;
    bool failed_ = false;
};

// What the stream has read ahead does not show at the descriptor.
bool is_read_ahead(const std::FILE *stream)
{
    return stream->_IO_read_ptr < stream->_IO_read_end;
}

int wait_for_input(int32_t seconds)
{
    if (is_read_ahead(stdin))
        return 1;
    fd_set descriptors;
    FD_ZERO(&descriptors);
    FD_SET(STDIN_FILENO, &descriptors);
    timeval limit{seconds, 0};
    return select(STDIN_FILENO + 1, &descriptors, nullptr, nullptr,
                  seconds == 0 ? nullptr : &limit);
}

// The line that the user settled for; an empty one stands for the default.
const char *accepted_line(const kiv_user_input_info &info, input_line &line)
{
    for (;;) {
        std::printf("%s", info.prompt);
        std::fflush(stdout);
        const int status = wait_for_input(info.timeout);
        if (info.debug != 0)
            std::printf("Select returned with status %d\n", status);
        const ssize_t length = line.read();
        if (line.failed())
            return nullptr;
        if (info.debug != 0) {
            std::printf("Input:%s:\n", line.text());
            std::printf("getline return value = %d\n", static_cast<int>(length));
        }
        if (length < 0)
            return "";
        if (std::strlen(line.text()) >= static_cast<size_t>(info.max_len))
            std::puts("Input string too long");
        else if (info.validator == nullptr || info.validator(line.text()) == 1)
            return line.text();
    }
}

} // namespace

uint32_t kiv_user_input_get(const kiv_user_input_info *info, char *output) noexcept
{
    KIV_ASSERT("kiv_lib", info);
    KIV_ASSERT("kiv_lib", info->prompt);
    KIV_ASSERT("kiv_lib", info->default_input);
    KIV_ASSERT("kiv_lib", info->max_len > 1);
    KIV_ASSERT("kiv_lib", output);
    if (info->max_len > KIV_USER_INPUT_MAX) {
        if (info->debug != 0)
            std::puts("Max length too high");
        return KIV_ERROR_COMMAND_FAILED;
    }
    input_line line;
    const char *accepted = accepted_line(*info, line);
    if (accepted == nullptr)
        return KIV_ERROR_COMMAND_FAILED;
    robust_strncpy(output, accepted[0] == '\0' ? info->default_input : accepted,
                   static_cast<size_t>(info->max_len));
    return 0;
}
