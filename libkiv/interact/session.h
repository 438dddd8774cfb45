// The one session of the process: its child, its pipes, and what is known about them.
#ifndef KIV_INTERACT_SESSION_H
#define KIV_INTERACT_SESSION_H

#include <array>

#include <sys/types.h>

#include <kiv/extras.h>
#include <kiv/kiv_interact_exec.h>

#include "pipes.h"
#include "waiting.h"

namespace kiv::interact {

// The pipes that are in the exported arrays may have been made by the caller. Only what was made
// here is closed and waited for here.
class session {
public:
    // Takes over the child and the pipes, in the place of what was there.
    void open(pid_t child, session_pipes &made);

    // Forgets what an earlier session left behind, before the first exchange of a new one.
    void begin();

    // Closes the pipes and waits for the child, which is killed when the limit is reached.
    void release(const time_limit &limit);

    // Reads away what the child still says, until it has said all or the limit is reached.
    static void hear_out(const time_limit &limit);

    bool has_child() const { return child_ > 0; }
    bool child_has_ended() const;
    bool owns_errors() const;

    bool by_marker() const { return reply_end == KIV_INTERACT_END_MARKER; }
    time_limit limit() const;

    // Nothing more comes from this shell: it has ended, or closed its output.
    void note_end() { ended_ = pipe_identity(kiv_to_kiv_agent_pipe[0]); }
    bool has_ended_replies() const { return ended_.names(kiv_to_kiv_agent_pipe[0]); }

    // What comes from this shell may be the reply to an earlier command.
    void note_out_of_step() { out_of_step_ = pipe_identity(kiv_to_kiv_agent_pipe[0]); }
    bool is_out_of_step() const { return out_of_step_.names(kiv_to_kiv_agent_pipe[0]); }

    int32_t reply_end = KIV_INTERACT_END_QUIET;
    clock::duration deadline{};

private:
    pid_t child_ = 0;
    std::array<pipe_identity, pipe_count> pipes_{};
    pipe_identity ended_;
    pipe_identity out_of_step_;
};

inline session current;

} // namespace kiv::interact

#endif
