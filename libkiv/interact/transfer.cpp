#include "transfer.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <span>

#include <sys/ioctl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <kiv/kiv_interact_exec.h>

namespace kiv::interact {

namespace {

sigset_t only_broken_pipe()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

bool is_pending()
{
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
}

bool is_unsupported(int error)
{
    return error == EOPNOTSUPP || error == ENOSYS || error == EINVAL;
}

ssize_t write_to(int descriptor, std::span<const iovec> parts, int flags)
{
    const int count = static_cast<int>(parts.size());
    return flags == 0 ? writev(descriptor, parts.data(), count)
                      : pwritev2(descriptor, parts.data(), count, -1, flags);
}

iovec part_of(std::string_view text)
{
    return {const_cast<char *>(text.data()), text.size()};
}

} // namespace

broken_pipe_guard::broken_pipe_guard()
{
    const sigset_t blocked = only_broken_pipe();
    pthread_sigmask(SIG_BLOCK, &blocked, &before_);
    // One that the caller holds back stays the caller's.
    pending_before_ = sigismember(&before_, SIGPIPE) == 1 && is_pending();
}

broken_pipe_guard::~broken_pipe_guard()
{
    if (sigismember(&before_, SIGPIPE) == 0)
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

// Spares the wait for room, which there nearly always is. Where the system cannot write to a pipe
// so, the wait finds out.
ssize_t broken_pipe_guard::write_at_once(const sent_text &sent, size_t written)
{
    static bool is_supported = true;
    const ssize_t size = is_supported ? write_part(sent, written, RWF_NOWAIT) : -1;
    is_supported = is_supported && (size >= 0 || !is_unsupported(errno));
    if (!is_supported)
        errno = EAGAIN;
    return size;
}

ssize_t broken_pipe_guard::write_part(const sent_text &sent, size_t written, int flags)
{
    const size_t start = std::min(written, sent.text.size());
    const std::string_view rest = sent.text.substr(start, atomic_write);
    const bool last = start + rest.size() == sent.text.size() && rest.size() < atomic_write;
    const std::array<iovec, 2> parts{part_of(rest), part_of("\n")};
    ssize_t size = 0;
    do {
        size = write_to(kiv_agent_to_kiv_pipe[1], {parts.data(), last && sent.newline ? 2U : 1U},
                        flags);
    } while (size < 0 && errno == EINTR);
    if (size < 0 && errno == EPIPE && !pending_before_) {
        constexpr timespec no_time{};
        const sigset_t signal = only_broken_pipe();
        sigtimedwait(&signal, nullptr, &no_time);
        errno = EPIPE;
    }
    return size;
}

ssize_t read_piece()
{
    ssize_t size = 0;
    do {
        size = read(kiv_to_kiv_agent_pipe[0], buffer, sizeof buffer);
    } while (size < 0 && errno == EINTR);
    return size;
}

// Spares the wait where the shell has answered already. Where the system cannot read a pipe so, the
// wait finds out.
ssize_t read_ready_piece()
{
    static bool is_supported = true;
    if (!is_supported)
        return not_ready;
    const iovec piece{buffer, sizeof buffer};
    const ssize_t size = preadv2(kiv_to_kiv_agent_pipe[0], &piece, 1, -1, RWF_NOWAIT);
    if (size >= 0)
        return size;
    is_supported = !is_unsupported(errno);
    return not_ready;
}

void clear_piece(ssize_t size)
{
    if (size > 0)
        std::memset(buffer, 0, static_cast<size_t>(size));
}

void discard_arrived()
{
    int left = 0;
    if (ioctl(kiv_to_kiv_agent_pipe[0], FIONREAD, &left) != 0)
        return;
    while (left > 0) {
        const ssize_t size = read_piece();
        if (size <= 0)
            return;
        clear_piece(size);
        left -= static_cast<int>(size);
    }
}

} // namespace kiv::interact
