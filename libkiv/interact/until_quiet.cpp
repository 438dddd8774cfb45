// Replies that end when nothing comes any more.

#include "exchange.h"

namespace kiv::interact {

namespace {

bool is_beginning(std::string_view part, std::string_view whole)
{
    return part.size() < whole.size() && whole.starts_with(part);
}

} // namespace

fault exchange::until_quiet()
{
    if (const fault failed = send({command_, true}); failed != fault::none)
        return failed;
    if (const fault failed = first_phase(); failed != fault::none)
        return failed;
    return command_.starts_with(show_command) && !ended_ ? second_phase() : fault::none;
}

// Nobody answers empty lines, so there may be nothing to wait for; and what is to be waited for may
// have come while the command was being sent. A piece that fills the buffer may be the last one
// too.
fault exchange::first_phase()
{
    const bool is_answered = command_.find_first_not_of('\n') != std::string_view::npos;
    fault failed = is_answered && pieces_ == 1 ? receive() : fault::none;
    while (failed == fault::none && !ended_) {
        failed = pause(false);
        if (failed != fault::none || !data_came_)
            break;
        failed = receive();
    }
    return failed;
}

// A show command may print in bursts, up to the piece that begins with the marker.
fault exchange::second_phase()
{
    const size_t capacity = pieces_ * capacity_step;
    const std::string_view last = reply_.from(piece_start_);
    const bool patient = !last.starts_with(success_marker);
    if (!is_beginning(last, success_marker))
        piece_start_ = reply_.length();
    paused_ = true;
    fault failed = pause(patient);
    while (failed == fault::none && data_came_) {
        failed = receive();
        if (failed != fault::none || ended_ || ends_show(capacity))
            break;
        failed = pause(patient);
    }
    reply_.cut(capacity);
    return failed;
}

fault exchange::pause(bool retry)
{
    const waited result = wait_for_data(kiv_to_kiv_agent_pipe[0], retry, limit_, child_watch::on);
    data_came_ = result == waited::ready;
    if (result == waited::child_gone)
        end();
    return !data_came_ && limit_.reached() ? fall_out_of_step(fault::too_late) : fault::none;
}

bool exchange::piece_may_go_on() const
{
    const std::string_view piece = reply_.from(piece_start_);
    return is_beginning(piece, success_marker) || (paused_ && is_beginning(piece, command_));
}

bool exchange::ends_show(size_t capacity)
{
    const std::string_view piece = reply_.from(piece_start_);
    const bool is_echo = piece.starts_with(command_);
    const bool is_last = piece.starts_with(success_marker);
    if (!is_echo && !is_last && piece_may_go_on())
        return false;
    reply_.cut(is_echo ? piece_start_ : capacity);
    piece_start_ = reply_.length();
    return is_last;
}

} // namespace kiv::interact
