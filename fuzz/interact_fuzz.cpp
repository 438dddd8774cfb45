// Whatever a shell says, and in whatever pieces: the reply is what it said.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <kiv/extras.h>
#include <kiv/kiv_interact_exec.h>

#include "require.h"

namespace {

using fuzz::require;

// Bytes of the input that stand for more. From `first_gap` on, the next piece begins.
constexpr const char *words[] = {KIV_INTERACT_SUCCESS_MARKER, KIV_INTERACT_ERROR_MARKER,
                                 KIV_INTERACT_PARSE_MARKER, "show it"};
constexpr uint8_t first_word = 0xF0;
constexpr uint8_t filling = 0xF8;
constexpr uint8_t first_gap = 0xFC;
constexpr int64_t gaps[] = {60, 10, 0, 20'000}; // milliseconds
constexpr size_t piece_size = 4096;
constexpr size_t most_pieces = 250;

struct piece {
    int64_t gap = 0;
    std::string text;
};

std::vector<piece> pieces_of(const uint8_t *data, size_t size)
{
    std::vector<piece> pieces(1);
    for (; size > 0 && pieces.size() < most_pieces; ++data, --size) {
        std::string &text = pieces.back().text;
        if (*data >= first_gap)
            pieces.push_back({gaps[*data - first_gap], {}});
        else if (text.size() >= piece_size - 1000)
            pieces.emplace_back();
        else if (*data >= first_word && *data < first_word + std::size(words))
            text += words[*data - first_word];
        else if (*data == filling)
            text.append(900, 'x');
        else
            text += static_cast<char>(*data);
    }
    return pieces;
}

// A shell that says its pieces, whatever it is asked, and is gone. A pipe of packets keeps them
// apart. Time passes only while the library waits.
class shell {
public:
    explicit shell(const std::vector<piece> &pieces) : pieces_(pieces)
    {
        require(pipe2(kiv_agent_to_kiv_pipe, O_CLOEXEC) == 0);
        require(pipe2(kiv_to_kiv_agent_pipe, O_CLOEXEC | O_DIRECT) == 0);
        require(fcntl(kiv_to_kiv_agent_pipe[1], F_SETPIPE_SZ, 1 << 20) > 0);
        present = this;
    }
    shell(const shell &) = delete;
    shell &operator=(const shell &) = delete;
    ~shell()
    {
        present = nullptr;
        for (const int *ends : {kiv_agent_to_kiv_pipe, kiv_to_kiv_agent_pipe}) {
            close(ends[0]);
            close(ends[1]);
        }
    }

    int wait(pollfd *descriptors, nfds_t count, int64_t at_most)
    {
        for (const int64_t end = time + at_most;;) {
            const int ready = poll(descriptors, count, 0);
            if (ready != 0)
                return ready;
            if (next_ > pieces_.size() || due() > end) {
                time = end;
                return 0;
            }
            time = said_at_ = due();
            say();
        }
    }

    int64_t time = 0; // in nanoseconds
    inline static shell *present;

private:
    int64_t due() const
    {
        constexpr int64_t millisecond = 1'000'000;
        return said_at_ + (next_ < pieces_.size() ? pieces_[next_].gap * millisecond : 0);
    }

    void say()
    {
        if (next_ < pieces_.size()) {
            const std::string &text = pieces_[next_].text;
            require(write(kiv_to_kiv_agent_pipe[1], text.data(), text.size()) >= 0);
        } else {
            close(std::exchange(kiv_to_kiv_agent_pipe[1], -1));
        }
        ++next_;
    }

    const std::vector<piece> &pieces_;
    size_t next_ = 0;
    int64_t said_at_ = 0;
};

void check_reply(const char *command, const std::vector<piece> &pieces, bool by_marker)
{
    char *text = kiv_interact_exec_single_cmd(command);
    if (text == nullptr)
        return;
    const std::string reply = text;
    kiv_interact_buff_free(text);
    std::string said;
    for (const piece &next : pieces)
        said += next.text;
    std::erase(said, '\0');
    require(reply.size() <= said.size());
    if (!by_marker && std::string(command).starts_with("show "))
        return;
    require(said.starts_with(reply));
    require(!by_marker || reply == said ||
            std::any_of(words, words + 3, [&](const char *end) { return reply.ends_with(end); }));
}

void check_record(kiv_interact_ret_info *record)
{
    require(record == nullptr || (record->status >= 1 && record->status <= 3));
    kiv_interact_ret_info_free(record);
}

} // namespace

constexpr int64_t second = 1'000'000'000;

// In the place of the C library's, also for the session.
extern "C" __attribute__((visibility("default"))) int
simulated_ppoll(pollfd *descriptors, nfds_t count, const timespec *limit,
                const void *) __asm__("ppoll");
extern "C" __attribute__((visibility("default"))) int
simulated_clock(clockid_t id, timespec *time) __asm__("clock_gettime");

int simulated_ppoll(pollfd *descriptors, nfds_t count, const timespec *limit, const void *)
{
    require(shell::present != nullptr);
    return shell::present->wait(descriptors, count, limit->tv_sec * second + limit->tv_nsec);
}

int simulated_clock(clockid_t id, timespec *time)
{
    if (id != CLOCK_MONOTONIC || shell::present == nullptr)
        return static_cast<int>(syscall(SYS_clock_gettime, id, time));
    *time = {shell::present->time / second, shell::present->time % second};
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const bool by_marker = (*data & 1) != 0;
    const int job = *data >> 1 & 3;
    const uint32_t deadline = (*data & 8) != 0 ? 100 : 0;
    const auto pieces = pieces_of(data + 1, size - 1);
    kiv_interact_reply_end_set(by_marker ? KIV_INTERACT_END_MARKER : KIV_INTERACT_END_QUIET,
                               deadline);
    const shell talking(pieces);
    if (job < 2)
        check_reply(job == 0 ? "it" : "show it", pieces, by_marker);
    else if (job == 2)
        check_record(kiv_interact_exec_scrpt_cmd("show it"));
    else
        check_record(kiv_interact_exec_conf_cmds("first\nsecond\nshow it\nlast"));
    return 0;
}
