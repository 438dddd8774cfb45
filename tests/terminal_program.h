// A program at a terminal of its own, whose other end is the test's.
#ifndef KIV_TESTS_TERMINAL_PROGRAM_H
#define KIV_TESTS_TERMINAL_PROGRAM_H

#include <csignal>
#include <string>
#include <string_view>

#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "terminal.h"

namespace terminal {

class program {
public:
    // A command line of the system's interpreter, which it has to "exec".
    explicit program(const std::string &line, unsigned short rows = 24)
    {
        if (!user_)
            return;
        resize(rows);
        first_settings_ = local_settings();
        child_ = fork();
        if (child_ != 0)
            return;
        setsid();
        ioctl(user_.slave(), TIOCSCTTY, 0);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            dup2(user_.slave(), stream);
        execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
        _exit(127);
    }
    program(const program &) = delete;
    program &operator=(const program &) = delete;
    ~program()
    {
        if (child_ > 0)
            send(SIGKILL);
        end();
    }

    void type(std::string_view text) const { user_.type(text); }

    // What is seen from here up to the text, with it.
    std::string seen_to(std::string_view text)
    {
        for (;;) {
            if (const size_t at = seen_.find(text); at != std::string::npos)
                return take(at + text.size());
            const std::string more = user_.seen(1);
            if (more.empty()) {
                ADD_FAILURE() << "waited for \"" << text << "\", and saw \"" << seen_ << "\"";
                return take(seen_.size());
            }
            seen_ += more;
        }
    }

    std::string answer_to(std::string_view typed, std::string_view end)
    {
        type(typed);
        return seen_to(end);
    }

    void resize(unsigned short rows) const
    {
        const winsize size{rows, 80, 0, 0};
        ioctl(user_.slave(), TIOCSWINSZ, &size);
    }

    void send(int signal) const { kill(child_, signal); }
    void hang_up() { user_.hang_up(); }

    // The exit status, or minus the signal.
    int end()
    {
        int status = 0;
        if (child_ > 0)
            waitpid(child_, &status, 0);
        child_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    tcflag_t first_settings() const { return first_settings_; }
    tcflag_t local_settings() const
    {
        termios settings{};
        tcgetattr(user_.slave(), &settings);
        return settings.c_lflag;
    }

private:
    std::string take(size_t count)
    {
        std::string text = seen_.substr(0, count);
        seen_.erase(0, count);
        return text;
    }

    pseudo_terminal user_;
    tcflag_t first_settings_ = 0;
    pid_t child_ = 0;
    std::string seen_;
};

} // namespace terminal

#endif
