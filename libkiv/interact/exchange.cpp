#include "exchange.h"

#include <array>
#include <cerrno>
#include <cstring>

#include "report.h"

namespace kiv::interact {

namespace {

constexpr std::array fault_texts{
#define KIV_INTERACT_FAULT_TEXT(name, text) text,
    KIV_INTERACT_FAULT_TABLE(KIV_INTERACT_FAULT_TEXT)
#undef KIV_INTERACT_FAULT_TEXT
};

const char *text_of(fault failed)
{
    return fault_texts[static_cast<size_t>(failed)];
}

fault run(const char *command, reply_text &reply)
{
    if (command == nullptr)
        return fault::no_command;
    if (!reply.start(capacity_step))
        return fault::no_memory;
    if (std::strcmp(command, "\n") == 0)
        return fault::none;
    if (current.is_out_of_step())
        return fault::unusable;
    if (kiv_agent_to_kiv_pipe[1] < 0 || current.has_ended_replies())
        return fault::cannot_write;
    exchange one(command, reply);
    return current.by_marker() ? one.until_marker() : one.until_quiet();
}

} // namespace

fault exchange::send(const sent_text &sent)
{
    broken_pipe_guard guard;
    bool has_room = false;
    for (size_t written = 0; written < sent.size();) {
        const ssize_t size =
            has_room ? guard.write(sent, written) : guard.write_at_once(sent, written);
        has_room = size <= 0;
        if (size > 0) {
            written += static_cast<size_t>(size);
            continue;
        }
        const bool is_full = size < 0 && errno == EAGAIN;
        if (const fault failed = is_full ? wait_to_write() : fault::cannot_write;
            failed != fault::none)
            return written == 0 ? failed : fall_out_of_step(failed);
    }
    return fault::none;
}

// What the shell says meanwhile is taken, or it might wait for that and never read on.
fault exchange::wait_to_write()
{
    while (!limit_.reached()) {
        std::array<pollfd, 2> pipes{{{kiv_agent_to_kiv_pipe[1], POLLOUT, 0},
                                     {ended_ ? -1 : kiv_to_kiv_agent_pipe[0], POLLIN, 0}}};
        const waited result = wait_for(pipes, limit_, child_watch::on);
        if (result == waited::expired)
            break;
        if (result != waited::ready)
            return fault::cannot_write;
        if (pipes[0].revents != 0)
            return fault::none;
        if (const fault failed = take_piece(); failed != fault::none)
            return failed;
    }
    return fall_out_of_step(fault::too_late);
}

fault exchange::receive()
{
    pollfd reply{kiv_to_kiv_agent_pipe[0], POLLIN, 0};
    if (limit_.reached())
        return fall_out_of_step(fault::too_late);
    if (const ssize_t size = current.by_marker() ? read_ready_piece() : not_ready;
        size != not_ready)
        return keep_piece(size);
    const bool is_open = !ended_ && reply.fd >= 0;
    switch (is_open ? wait_for({&reply, 1}, limit_, child_watch::on) : waited::failed) {
    case waited::ready:
        return take_piece();
    case waited::expired:
        return fall_out_of_step(fault::too_late);
    default:
        end();
        return fault::none;
    }
}

void exchange::end()
{
    ended_ = true;
    current.note_end();
}

fault exchange::take_piece()
{
    if (!current.by_marker())
        std::memset(buffer, 0, sizeof buffer);
    return keep_piece(read_piece());
}

fault exchange::keep_piece(ssize_t size)
{
    received_ = size;
    if (received_ <= 0) {
        end();
        return fault::none;
    }
    const size_t start = reply_.length();
    const bool grown = reply_.append({buffer, static_cast<size_t>(received_)});
    find_word(start);
    remember_tail();
    if (!paused_) {
        ++pieces_;
        std::memcpy(retBuf, buffer, sizeof retBuf);
        clear_piece(received_);
    }
    return grown ? fault::none : fall_out_of_step(fault::cannot_grow);
}

// The rest of this reply would be taken for the reply to another command.
fault exchange::fall_out_of_step(fault reason)
{
    current.note_out_of_step();
    return reason;
}

} // namespace kiv::interact

char *kiv_interact_exec_single_cmd(const char *cmd) noexcept
{
    using namespace kiv::interact;
    reply_text reply;
    const fault failed = run(cmd, reply);
    if (failed == fault::none)
        return reply.release();
    KIV_INTERACT_REPORT(text_of(failed));
    return nullptr;
}

void kiv_interact_reply_end_set(int32_t end, uint32_t deadline_milliseconds) noexcept
{
    using namespace kiv::interact;
    KIV_ASSERT("kiv_interact_exec",
               end == KIV_INTERACT_END_QUIET || end == KIV_INTERACT_END_MARKER);
    const bool to_markers = end == KIV_INTERACT_END_MARKER && !current.by_marker();
    current.reply_end = end;
    current.deadline = std::chrono::milliseconds(deadline_milliseconds);
    if (!to_markers)
        return;
    std::memset(buffer, 0, sizeof buffer);
    discard_arrived();
}
