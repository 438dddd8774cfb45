// One command and its reply.
#ifndef KIV_INTERACT_EXCHANGE_H
#define KIV_INTERACT_EXCHANGE_H

#include <array>
#include <string_view>

#include <poll.h>
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
    X(unusable, "session unusable since its deadline expired")

#define KIV_INTERACT_FAULT_ENUMERATOR(name, text) name,
enum class fault { KIV_INTERACT_FAULT_TABLE(KIV_INTERACT_FAULT_ENUMERATOR) };
#undef KIV_INTERACT_FAULT_ENUMERATOR

const char *text_of(fault failed);

// The unit in which the capacity of a reply is laid down.
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
    fault send(const sent_text &sent);
    fault wait_to_write();
    fault receive();
    fault take_piece();
    fault pause(bool retry);
    fault expire();

    fault first_phase();
    fault second_phase();
    void judge_piece(size_t capacity);

    fault answer_of_line();
    sent_text next_line();
    bool ends_with_marker() const;
    void remember_tail();

    std::string_view command_;
    reply_text &reply_;
    time_limit limit_;

    ssize_t received_ = 0; // size of the last piece; 0 or less at the end of all
    bool data_came_ = false;
    bool ended_ = false; // nothing comes any more

    // By quiet: how many pieces so far, and one; where the last one begins that is not the rest of
    // a marker or an echo.
    size_t pieces_ = 1;
    size_t piece_start_ = 0;
    bool judged_ = false;

    // By marker: how much of the command has been sent, and the last bytes of the answer as they
    // came.
    size_t sent_ = 0;
    std::array<char, longest_marker> tail_{};
};

} // namespace kiv::interact

#endif
