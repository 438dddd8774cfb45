#include "session.h"

#include <cstring>

#include "exec/child.h"
#include "transfer.h"

int kiv_agent_to_kiv_pipe[2] = {-1, -1};
int kiv_to_kiv_agent_pipe[2] = {-1, -1};
int kiv_to_kiv_agent_stderr_pipe[2] = {-1, -1};

char buffer[KIV_INTERACT_BUFFER_SIZE];
char retBuf[KIV_INTERACT_HEAD_SIZE];

namespace kiv::interact {

namespace {

constexpr int *exported[pipe_count] = {kiv_agent_to_kiv_pipe, kiv_to_kiv_agent_pipe,
                                       kiv_to_kiv_agent_stderr_pipe};

} // namespace

void session::open(pid_t child, session_pipes &made)
{
    child_ = child;
    for (const pipe_index pipe : {commands, replies, errors}) {
        std::memcpy(exported[pipe], made.ends(pipe), 2 * sizeof(int));
        pipes_[pipe] = pipe_identity(exported[pipe][0]);
    }
    made.hand_over();
}

void session::begin()
{
    ended_ = {};
    out_of_step_ = {};
    std::memset(buffer, 0, sizeof buffer);
}

void session::hear_out(const time_limit &limit)
{
    pollfd reply{kiv_to_kiv_agent_pipe[0], POLLIN, 0};
    while (!limit.reached() && wait_for({&reply, 1}, limit, child_watch::on) == waited::ready) {
        const ssize_t size = read_piece();
        clear_piece(size);
        if (size <= 0)
            return;
    }
}

void session::release(const time_limit &limit)
{
    if (!has_child())
        return;
    pipes_[commands].close_end(kiv_agent_to_kiv_pipe[1]);
    if (pipes_[replies].names(kiv_to_kiv_agent_pipe[0]))
        hear_out(limit);
    // It may have closed its output and still be writing to its standard error.
    const bool ended = wait_for({}, limit, child_watch::on) == waited::child_gone;
    reap(child_, !ended);
    for (const pipe_index pipe : {commands, replies, errors}) {
        for (int end : {0, 1})
            pipes_[pipe].close_end(exported[pipe][end]);
    }
    child_ = 0;
    pipes_ = {};
}

bool session::owns_errors() const
{
    return pipes_[errors].names(kiv_to_kiv_agent_stderr_pipe[0]) &&
           pipes_[errors].names(kiv_to_kiv_agent_stderr_pipe[1]);
}

bool session::child_has_ended() const
{
    return has_child() && has_ended(child_);
}

time_limit session::limit() const
{
    return deadline > clock::duration::zero() ? time_limit(deadline) : time_limit();
}

} // namespace kiv::interact
