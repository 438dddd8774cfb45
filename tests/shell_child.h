// The shell as a program drives it. Only in a switch root.
#ifndef KIV_TESTS_SHELL_CHILD_H
#define KIV_TESTS_SHELL_CHILD_H

#include <csignal>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/files.h"
#include "support/unique_fd.h"

namespace shell_child {

inline const std::string success = "KIV_CALLBACK_SUCCESS";
inline const std::string callback_error = "KIV_CALLBACK_ERROR";
inline const std::string parse_error = "KIV_PARSE_ERROR";

inline bool ends_with_marker(std::string_view text)
{
    return text.ends_with(success) || text.ends_with(callback_error) || text.ends_with(parse_error);
}

// A shell that is sent command lines, started by the wrapper script or by other words, with the
// test at the other ends of its pipes.
class running_shell {
public:
    explicit running_shell(std::vector<const char *> words = {"/sbin/kivScript.sh"})
    {
        int commands[2];
        int answers[2];
        if (pipe2(commands, O_CLOEXEC) != 0 || pipe2(answers, O_CLOEXEC) != 0)
            return;
        const kiv::support::unique_fd its_commands(commands[0]);
        const kiv::support::unique_fd its_answers(answers[1]);
        commands_ = kiv::support::unique_fd(commands[1]);
        answers_ = kiv::support::unique_fd(answers[0]);
        words.push_back(nullptr);
        child_ = fork();
        if (child_ != 0)
            return;
        dup2(its_commands.get(), STDIN_FILENO);
        dup2(its_answers.get(), STDOUT_FILENO);
        execv(words[0], const_cast<char **>(words.data()));
        _exit(127);
    }
    running_shell(const running_shell &) = delete;
    running_shell &operator=(const running_shell &) = delete;
    ~running_shell() { end(); }

    // Returns false when nobody reads.
    bool send(std::string_view text) const
    {
        return kiv::support::write_all(commands_.get(), text) == 0;
    }

    // Up to the marker that nothing follows, or the end.
    std::string answer()
    {
        std::string text;
        pieces_.clear();
        while (!ends_with_marker(text) || is_readable(0)) {
            if (!is_readable(60'000)) {
                ADD_FAILURE() << "no end behind " << text.size() << " bytes";
                break;
            }
            std::string piece(size_t{1} << 16, '\0');
            const ssize_t length = read(answers_.get(), piece.data(), piece.size());
            if (length <= 0)
                break;
            piece.resize(static_cast<size_t>(length));
            text += pieces_.emplace_back(piece);
        }
        return text;
    }

    std::string answer_to(const std::string &line)
    {
        EXPECT_TRUE(send(line + "\n"));
        return answer();
    }

    // The writes of the last answer.
    const std::vector<std::string> &pieces() const { return pieces_; }

    void stop_listening() { answers_.close(); }

    // Closes its input, unless it has ended by itself. Returns its exit status.
    int end()
    {
        commands_.close();
        return status();
    }

    void kill()
    {
        if (child_ > 0)
            ::kill(child_, SIGKILL);
        end();
    }

    pid_t pid() const { return child_; }

    int status()
    {
        int status = -1;
        if (child_ > 0)
            waitpid(child_, &status, 0);
        child_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    bool is_readable(int milliseconds) const
    {
        pollfd readable{answers_.get(), POLLIN, 0};
        return poll(&readable, 1, milliseconds) == 1;
    }

    kiv::support::unique_fd commands_;
    kiv::support::unique_fd answers_;
    pid_t child_ = 0;
    std::vector<std::string> pieces_;
};

} // namespace shell_child

#endif
