#include "answer.h"

#include <algorithm>
#include <array>
#include <climits>

#include <fcntl.h>
#include <sys/stat.h>

#include "files.h"

namespace kiv_shell {

namespace {

struct marker {
    line_outcome ended;
    std::string_view word;
};

constexpr std::array markers{
    marker{line_outcome::done, "KIV_CALLBACK_SUCCESS"},
    marker{line_outcome::failed, "KIV_CALLBACK_ERROR"},
    marker{line_outcome::not_understood, "KIV_PARSE_ERROR"},
};

bool ends_with_marker(std::string_view text)
{
    return std::ranges::any_of(markers,
                               [&](const marker &row) { return text.ends_with(row.word); });
}

// Readers look for the success of a show command at the beginning of what they read.
bool wants_marker_apart(std::string_view line, std::string_view output)
{
    return line.starts_with("show ") && !output.empty() && !ends_with_marker(output);
}

// Of a pipe in packet mode, each read takes one write and no more.
void separate_writes(int descriptor)
{
    struct stat status;
    if (fstat(descriptor, &status) != 0 || !S_ISFIFO(status.st_mode))
        return;
    if (const int flags = fcntl(descriptor, F_GETFL); flags >= 0)
        fcntl(descriptor, F_SETFL, flags | O_DIRECT);
}

} // namespace

std::string_view marker_of(line_outcome ended)
{
    return std::ranges::find(markers, ended, &marker::ended)->word;
}

size_t next_piece(std::string_view answer, size_t sent)
{
    size_t end = std::min(sent + PIPE_BUF, answer.size());
    while (end < answer.size() && ends_with_marker(answer.substr(0, end)))
        --end;
    return end - sent;
}

answer_stream::answer_stream(int descriptor) : descriptor_(descriptor)
{
    separate_writes(descriptor);
}

failure answer_stream::send(std::string_view line, std::string_view output,
                            line_outcome ended) const
{
    const std::string_view marker = marker_of(ended);
    if (!wants_marker_apart(line, output))
        return send_pieces(std::string(output).append(marker));
    if (auto failed = send_pieces(output))
        return failed;
    return send_pieces(marker);
}

failure answer_stream::send_pieces(std::string_view answer) const
{
    for (size_t sent = 0; sent < answer.size();) {
        const size_t length = next_piece(answer, sent);
        if (const int error = write_all(descriptor_, answer.substr(sent, length)); error != 0)
            return system_failure("standard output", error);
        sent += length;
    }
    return {};
}

} // namespace kiv_shell
