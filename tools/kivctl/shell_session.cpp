#include "shell_session.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "commands.h"
#include "report.h"
#include "support/files.h"

namespace kivctl {

namespace {

constexpr std::array reply_ends{
    reply_end{KIV_INTERACT_SUCCESS, KIV_INTERACT_SUCCESS_MARKER, "success", "done"},
    reply_end{KIV_INTERACT_CALLBACK_ERROR, KIV_INTERACT_ERROR_MARKER, "callback error",
              "the command failed"},
    reply_end{KIV_INTERACT_PARSE_ERROR, KIV_INTERACT_PARSE_MARKER, "parse error",
              "the command is not understood"},
    reply_end{0, "", "no answer", "no answer"},
};

// A closed stream would be the next file that is opened. What stands in for it can be used in the
// wrong direction only, which is the same error.
void open_missing_streams()
{
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) < 0)
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

} // namespace

const reply_end &end_with_status(int32_t status)
{
    const auto *found = std::ranges::find(reply_ends, status, &reply_end::status);
    return found == reply_ends.end() ? reply_ends.back() : *found;
}

reply reply_of(const char *text)
{
    std::string_view output = text == nullptr ? "" : text;
    const auto *found = std::ranges::find_if(
        reply_ends, [&](const reply_end &row) { return output.ends_with(row.marker); });
    output.remove_suffix(found->marker.size());
    return {*found, std::string(output)};
}

user_output::user_output()
{
    open_missing_streams();
    own_ = kiv::support::unique_fd(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (own_)
        dup2(STDERR_FILENO, STDOUT_FILENO);
}

user_output::~user_output()
{
    std::fflush(stdout);
    if (own_)
        dup2(own_.get(), STDOUT_FILENO);
}

bool user_output::is_terminal() const
{
    return isatty(own_.get()) == 1;
}

int user_output::write(std::string_view text) const
{
    return kiv::support::write_all(own_.get(), text);
}

int user_output::report(int error)
{
    return error == 0 ? done : fail("standard output", std::strerror(error));
}

bool shell_session::open()
{
    const pid_t caller = getpid();
    is_open_ = kiv_interact_session_init("kivctl") == 0;
    // The copy of this process that could not become the shell.
    if (getpid() != caller) {
        std::fflush(stdout);
        _exit(127);
    }
    return is_open_;
}

bool shell_session::close()
{
    return !std::exchange(is_open_, false) || kiv_interact_session_close() == 0;
}

std::string shell_session::complaints()
{
    std::string text;
    pollfd errors{kiv_to_kiv_agent_stderr_pipe[0], POLLIN, 0};
    std::array<char, 4096> room;
    while (poll(&errors, 1, 0) == 1 && (errors.revents & POLLIN) != 0) {
        const ssize_t count = kiv::support::read_some(errors.fd, room.data(), room.size());
        if (count <= 0)
            break;
        text.append(room.data(), static_cast<size_t>(count));
    }
    return text;
}

} // namespace kivctl
