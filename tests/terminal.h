// A terminal that the test holds the other end of.
#ifndef KIV_TESTS_TERMINAL_H
#define KIV_TESTS_TERMINAL_H

#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace terminal {

class pseudo_terminal {
public:
    pseudo_terminal() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0)
            return;
        name_ = ptsname(master_);
        slave_ = open(name_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }
    pseudo_terminal(const pseudo_terminal &) = delete;
    pseudo_terminal &operator=(const pseudo_terminal &) = delete;
    ~pseudo_terminal() { hang_up(); }

    explicit operator bool() const { return slave_ >= 0; }
    int slave() const { return slave_; }
    const std::string &name() const { return name_; }

    // Nothing can be done with the terminal from then on.
    void hang_up()
    {
        for (int *end : {&slave_, &master_})
            close(std::exchange(*end, -1));
    }

    // What the user types.
    void type(std::string_view text) const
    {
        ASSERT_EQ(write(master_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    // What the user sees, up to so many characters.
    std::string seen(size_t count) const
    {
        std::string text;
        pollfd ready{master_, POLLIN, 0};
        while (text.size() < count && poll(&ready, 1, 10'000) == 1) {
            char piece[256];
            const ssize_t length = read(master_, piece, sizeof piece);
            if (length <= 0)
                break;
            text.append(piece, static_cast<size_t>(length));
        }
        return text;
    }

    void without_echo() const
    {
        termios settings;
        tcgetattr(slave_, &settings);
        settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(slave_, TCSANOW, &settings);
    }

private:
    int master_;
    int slave_ = -1;
    std::string name_;
};

} // namespace terminal

#endif
