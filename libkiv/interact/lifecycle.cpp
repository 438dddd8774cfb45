#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "exec/child.h"
#include "report.h"
#include "session.h"
#include "transfer.h"

namespace {

using namespace kiv::interact;
using namespace std::chrono_literals;

constexpr const char *script = "/sbin/kivScript.sh";

// How long the child of a session that failed may take to end by itself.
constexpr clock::duration grace = 1s;

// With the pipe of its standard error both ends stay open in the child.
void keep_open(int descriptor)
{
    const int flags = fcntl(descriptor, F_GETFD);
    if (descriptor > STDERR_FILENO && flags >= 0)
        fcntl(descriptor, F_SETFD, flags & ~FD_CLOEXEC);
}

// An end with the number of a stream has been replaced by that stream.
bool close_unless_stream(int descriptor)
{
    return (descriptor >= 0 && descriptor <= STDERR_FILENO) || close(descriptor) == 0;
}

bool close_inherited(const int *to_child, const int *from_child)
{
    return close_unless_stream(to_child[1]) && close_unless_stream(to_child[0]) &&
           close_unless_stream(from_child[0]) && close_unless_stream(from_child[1]);
}

bool close_childs_end(int &descriptor)
{
    const int closing = descriptor;
    descriptor = -1;
    return close(closing) == 0;
}

// An empty line, which the shell does not answer.
bool greet()
{
    broken_pipe_guard guard;
    return guard.write({"\n", false}, 0) > 0;
}

// Reads away the greeting: pieces, as long as they fill the buffer.
void hear_greeting(const time_limit &limit)
{
    const int replies = kiv_to_kiv_agent_pipe[0];
    while (!limit.reached() &&
           wait_for_data(replies, false, limit, child_watch::on) == waited::ready) {
        const ssize_t size = read_piece();
        clear_piece(size);
        if (size != KIV_INTERACT_BUFFER_SIZE)
            return;
    }
}

} // namespace

int kiv_interact_session_init(const char *arg0) noexcept
{
    session_pipes made;
    if (!made.make()) {
        KIV_INTERACT_REPORT("pipe system call failed");
        return -1;
    }
    kiv::flush_streams();
    const pid_t child = kiv::fork_caller();
    if (child < 0) {
        KIV_INTERACT_REPORT("System call fork failed");
        return -1;
    }
    if (child == 0) {
        const int result = kiv_interact_session_create(made.ends(commands), made.ends(replies),
                                                       made.ends(errors), arg0);
        made.hand_over();
        return result;
    }
    current.open(child, made);
    if (kiv_interact_session_init_comm() == 0)
        return 0;
    current.release(time_limit(grace));
    return -1;
}

int kiv_interact_session_create(int *to_child_pipe, int *from_child_pipe, int *stderr_pipe,
                                const char *arg0) noexcept
{
    struct {
        int source;
        int stream;
        const char *failure;
    } const streams[] = {{to_child_pipe[0], STDIN_FILENO, "dup stdin failed"},
                         {from_child_pipe[1], STDOUT_FILENO, "dup stdout failed"},
                         {stderr_pipe[1], STDERR_FILENO, "dup stderr failed"}};
    int sources[std::size(streams)];
    for (size_t i = 0; i < std::size(streams); ++i)
        sources[i] = above_streams(streams[i].source);
    for (size_t i = 0; i < std::size(streams); ++i) {
        if (dup2(sources[i], streams[i].stream) < 0) {
            KIV_INTERACT_REPORT(streams[i].failure);
            return -1;
        }
    }
    if (!close_inherited(to_child_pipe, from_child_pipe)) {
        KIV_INTERACT_REPORT("close failed for all pipes in child process");
        return -1;
    }
    keep_open(stderr_pipe[0]);
    keep_open(stderr_pipe[1]);
    const char *const arguments[] = {arg0, nullptr};
    kiv::become_program(script, arguments);
    KIV_INTERACT_REPORT("execl failed");
    return -1;
}

int kiv_interact_session_init_comm() noexcept
{
    current.begin();
    const bool read_end_closed = close_childs_end(kiv_agent_to_kiv_pipe[0]);
    if (!close_childs_end(kiv_to_kiv_agent_pipe[1]) || !read_end_closed) {
        KIV_INTERACT_REPORT("close pipe failed");
        return -1;
    }
    if (!greet()) {
        KIV_INTERACT_REPORT("write failed");
        return -1;
    }
    hear_greeting(current.limit());
    return 0;
}

int read_time_out_check(int fd, int retry) noexcept
{
    switch (wait_for_data(fd, retry != 0, {}, child_watch::off)) {
    case waited::ready:
        return 1;
    case waited::failed:
        return -1;
    default:
        return 0;
    }
}

int kiv_interact_session_close() noexcept
{
    char *reply = kiv_interact_exec_single_cmd("exit");
    if (reply == nullptr) {
        current.release(time_limit(grace));
        return -1;
    }
    kiv_interact_buff_free(reply);
    kiv_interact_buff_free(kiv_interact_exec_single_cmd("END_KIV"));
    if (!close_childs_end(kiv_agent_to_kiv_pipe[1])) {
        KIV_INTERACT_REPORT("close pipe failed");
        current.release(time_limit(grace));
        return -1;
    }
    current.release(current.limit());
    return 0;
}

void kiv_interact_ret_info_free(kiv_interact_ret_info *rec) noexcept
{
    if (rec == nullptr)
        return;
    std::free(rec->output);
    std::free(rec->failed_cmd);
    std::free(rec);
}

void kiv_interact_buff_free(char *buf) noexcept
{
    std::free(buf);
}
