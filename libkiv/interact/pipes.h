// The pipes of a session.
#ifndef KIV_INTERACT_PIPES_H
#define KIV_INTERACT_PIPES_H

#include <array>

#include <sys/types.h>

namespace kiv::interact {

enum pipe_index { commands, replies, errors, pipe_count };

// Tells a pipe from another file that has got the number of one of its ends.
class pipe_identity {
public:
    pipe_identity() = default;
    explicit pipe_identity(int descriptor);

    bool names(int descriptor) const;

    // Closes the descriptor if it still is an end of this pipe. False when closing fails.
    bool close_end(int &descriptor) const;

private:
    bool known_ = false;
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

// Three new pipes, closed at the end unless they have been handed over. They are close-on-exec and
// keep away from the numbers of the standard streams, which the caller may have closed.
class session_pipes {
public:
    session_pipes() = default;
    session_pipes(const session_pipes &) = delete;
    session_pipes &operator=(const session_pipes &) = delete;
    ~session_pipes();

    bool make();
    int *ends(pipe_index pipe) { return ends_[pipe].data(); }
    void hand_over() { ends_ = no_ends; }

private:
    static constexpr std::array<std::array<int, 2>, pipe_count> no_ends{
        {{-1, -1}, {-1, -1}, {-1, -1}}};

    std::array<std::array<int, 2>, pipe_count> ends_ = no_ends;
};

// A descriptor for the same file above the standard streams: itself, or a close-on-exec copy. -1 on
// failure.
int above_streams(int descriptor);

} // namespace kiv::interact

#endif
