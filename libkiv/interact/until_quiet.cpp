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
    const std::string_view last = reply_.from(word_start_);
    const bool patient = !last.starts_with(success_marker);
    if (!is_beginning(last, success_marker))
        word_start_ = reply_.length();
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

bool exchange::is_word(std::string_view text) const
{
    return text.starts_with(success_marker) || (paused_ && text.starts_with(command_));
}

bool exchange::may_become_word(std::string_view text) const
{
    return is_beginning(text, success_marker) || (paused_ && is_beginning(text, command_));
}

// What seemed to begin a word may turn out to be output, with the word itself behind it.
void exchange::find_word(size_t piece_start)
{
    const std::string_view text = reply_.from(word_start_);
    const bool goes_on = may_become_word(text.substr(0, piece_start - word_start_)) &&
                         (is_word(text) || may_become_word(text));
    if (!goes_on || is_word(reply_.from(piece_start)))
        word_start_ = piece_start;
}

bool exchange::ends_show(size_t capacity)
{
    const std::string_view word = reply_.from(word_start_);
    const bool is_echo = word.starts_with(command_);
    const bool is_last = word.starts_with(success_marker);
    if (!is_echo && !is_last && may_become_word(word))
        return false;
    reply_.cut(is_echo ? word_start_ : capacity);
    word_start_ = reply_.length();
    return is_last;
}

} // namespace kiv::interact
