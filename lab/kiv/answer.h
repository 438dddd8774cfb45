// How the shell answers a program that runs commands in it.
//
// The program takes the marker word that the bytes so far end with for the end of the answer, once
// it finds nothing more to read. So an answer goes out in pieces that arrive whole, and none of
// them but the last ends where a marker word ends.
#ifndef LAB_KIV_ANSWER_H
#define LAB_KIV_ANSWER_H

#include <string>
#include <string_view>

#include "failure.h"
#include "session.h"

namespace kiv_shell {

// The last word of the answer to a line that ended so.
std::string_view marker_of(line_outcome ended);

// The length of the next piece of an answer of which `sent` bytes have gone out.
size_t next_piece(std::string_view answer, size_t sent);

// Standard output, as a program reads it.
class answer_stream {
public:
    explicit answer_stream(int descriptor);

    // Sends the output of a command line and the marker word for how it ended.
    failure send(std::string_view line, std::string_view output, line_outcome ended) const;

private:
    failure send_pieces(std::string_view answer) const;

    int descriptor_;
};

} // namespace kiv_shell

#endif
