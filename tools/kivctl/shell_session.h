// The library's session with the shell, for a program that runs lines in it.
#ifndef KIVCTL_SHELL_SESSION_H
#define KIVCTL_SHELL_SESSION_H

#include <cstdint>
#include <string>
#include <string_view>

#include <kiv/kiv_interact_exec.h>

#include "support/unique_fd.h"

namespace kivctl {

// How the reply to a command ended, as a user reads it.
struct reply_end {
    int32_t status; // enum kiv_interact_status; 0: there was no end
    std::string_view marker;
    const char *name;
    const char *message;
};

const reply_end &end_with_status(int32_t status);

struct reply {
    const reply_end &end;
    std::string output;
};

// Takes the marker off a reply of the library; null is no answer.
reply reply_of(const char *text);

// Standard output for what the user asked for. The library reports its errors on standard output as
// well; while this object is there, they go to standard error.
class user_output {
public:
    user_output();
    user_output(const user_output &) = delete;
    user_output &operator=(const user_output &) = delete;
    ~user_output();

    bool is_terminal() const;

    // Returns 0 or an errno.
    int write(std::string_view text) const;

    // Returns the exit status for what writing returned, after a message where it failed.
    static int report(int error);

private:
    kiv::support::unique_fd own_;
};

// An open session; at its end the shell is told to go, and waited for.
class shell_session {
public:
    shell_session() = default;
    shell_session(const shell_session &) = delete;
    shell_session &operator=(const shell_session &) = delete;
    ~shell_session() { close(); }

    // Both return whether it worked.
    bool open();
    bool close();

    // What the shell has said outside of its replies.
    static std::string complaints();

private:
    bool is_open_ = false;
};

} // namespace kivctl

#endif
