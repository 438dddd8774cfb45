// Bytes to the shell and bytes from it.
#ifndef KIV_INTERACT_TRANSFER_H
#define KIV_INTERACT_TRANSFER_H

#include <climits>
#include <csignal>
#include <string_view>

#include <sys/types.h>

namespace kiv::interact {

// What goes to the shell: a text and, if it has none yet, a newline.
struct sent_text {
    std::string_view text;
    bool newline;

    size_t size() const { return text.size() + (newline ? 1 : 0); }
};

// What a pipe takes as a whole.
inline constexpr size_t atomic_write = PIPE_BUF;

// A pipe of which nobody has the read end is an error of write, and no signal, while this lasts.
// Whether and how the caller handles the signal does not change.
class broken_pipe_guard {
public:
    broken_pipe_guard();
    broken_pipe_guard(const broken_pipe_guard &) = delete;
    broken_pipe_guard &operator=(const broken_pipe_guard &) = delete;
    ~broken_pipe_guard();

    // Writes the next part of the text, no more than a pipe takes as a whole. The number of bytes,
    // or -1; interruptions are retried.
    ssize_t write(const sent_text &sent, size_t written) { return write_part(sent, written, 0); }

    // The same without blocking: -1 with EAGAIN where the pipe may have no room.
    ssize_t write_at_once(const sent_text &sent, size_t written);

private:
    ssize_t write_part(const sent_text &sent, size_t written, int flags);

    sigset_t before_;
    bool pending_before_ = false;
};

// Reads a piece of the reply into `buffer`, which holds zeros behind it if it did before. The
// number of bytes, 0 at the end, or -1; interruptions are retried.
ssize_t read_piece();

// The same if there is something to read, or the end; else not_ready.
inline constexpr ssize_t not_ready = -2;
ssize_t read_ready_piece();

// Puts zeros in the place of a piece.
void clear_piece(ssize_t size);

// Reads away what has arrived by now, however much comes meanwhile.
void discard_arrived();

} // namespace kiv::interact

#endif
