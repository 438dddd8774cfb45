// One command and its reply.
#ifndef KIV_INTERACT_EXCHANGE_H
#define KIV_INTERACT_EXCHANGE_H

#include <array>
#include <string_view>

#include <sys/types.h>

#include "markers.h"
#include "reply_text.h"
#include "session.h"
#include "transfer.h"

namespace kiv::interact {

// Why there is no reply: X(name, text of the error).
#define KIV_INTERACT_FAULT_TABLE(X)                                                                \
    X(none, "")                                                                                    \
    X(no_command, "no command")                                                                    \
    X(no_memory, "malloc failed")                                                                  \
    X(cannot_grow, "realloc failed")                                                               \
    X(cannot_write, "write failed")                                                                \
    X(too_late, "deadline expired, session unusable")                                              \
    X(unusable, "session unusable, out of step")

#define KIV_INTERACT_FAULT_ENUMERATOR(name, text) name,
enum class fault { KIV_INTERACT_FAULT_TABLE(KIV_INTERACT_FAULT_ENUMERATOR) };
#undef KIV_INTERACT_FAULT_ENUMERATOR

// The unit in which the capacity of a reply grows.
inline constexpr size_t capacity_step = KIV_INTERACT_BUFFER_SIZE + 3;

class exchange {
public:
    exchange(std::string_view command, reply_text &reply)
        : command_(command), reply_(reply), limit_(current.limit())
    {
    }

    fault until_quiet();
    fault until_marker();

private:
    // Both ways.
    fault send(const sent_text &sent);
    fault wait_to_write();
    fault receive();
    fault take_piece();
    fault keep_piece(ssize_t size);
    static fault fall_out_of_step(fault reason);
    void end();

    // By quiet.
    fault first_phase();
    fault second_phase();
    fault pause(bool retry);
    void find_word(size_t piece_start);
    bool is_word(std::string_view text) const;
    bool may_become_word(std::string_view text) const;
    bool ends_show(size_t capacity);

    // By marker.
    fault exchange_line();
    sent_text next_line();
    bool is_answered() const;
    void remember_tail();

    std::string_view command_;
    reply_text &reply_;
    time_limit limit_;
    ssize_t received_ = 0; // the size of the last piece
    bool ended_ = false;   // nothing comes any more

    size_t pieces_ = 1;      // before the first pause, and one
    size_t word_start_ = 0;  // of the last piece, or of several that may be one marker or echo
    bool paused_ = false;    // the first pause is over
    bool data_came_ = false; // it was not quiet

    size_t sent_ = 0;                         // how much of the command
    std::array<char, longest_marker> tail_{}; // the last bytes of the answer, as they came
};

} // namespace kiv::interact

#endif
