// Whatever a shell says, and in whatever pieces: the reply is what it said.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <kiv/extras.h>
#include <kiv/kiv_interact_exec.h>

namespace {

// Bytes of the input that stand for more.
constexpr uint8_t next_piece = 0xFE;
constexpr const char *words[] = {KIV_INTERACT_SUCCESS_MARKER, KIV_INTERACT_ERROR_MARKER,
                                 KIV_INTERACT_PARSE_MARKER, "show it"};
constexpr uint8_t first_word = 0xF0;
constexpr uint8_t filling = 0xF8;
constexpr size_t piece_size = 4096;
constexpr size_t most_pieces = 250;

std::vector<std::string> pieces_of(const uint8_t *data, size_t size)
{
    std::vector<std::string> pieces(1);
    for (; size > 0 && pieces.size() < most_pieces; ++data, --size) {
        std::string &piece = pieces.back();
        if (*data == next_piece || piece.size() >= piece_size - 1000)
            pieces.emplace_back();
        else if (*data >= first_word && *data < first_word + std::size(words))
            piece += words[*data - first_word];
        else if (*data == filling)
            piece.append(900, 'x');
        else
            piece += static_cast<char>(*data);
    }
    return pieces;
}

void expect(bool as_it_should_be)
{
    if (!as_it_should_be)
        std::abort();
}

bool ends_with_marker(const std::string &text)
{
    return std::any_of(words, words + 3, [&](const char *word) { return text.ends_with(word); });
}

// The shell has said everything before it is asked, and gone: then nothing is waited for. A pipe of
// packets keeps its pieces apart.
class said_before {
public:
    explicit said_before(const std::vector<std::string> &pieces)
    {
        expect(pipe2(kiv_agent_to_kiv_pipe, O_CLOEXEC) == 0);
        expect(pipe2(kiv_to_kiv_agent_pipe, O_CLOEXEC | O_DIRECT) == 0);
        expect(fcntl(kiv_to_kiv_agent_pipe[1], F_SETPIPE_SZ, 1 << 20) > 0);
        for (const std::string &piece : pieces)
            expect(write(kiv_to_kiv_agent_pipe[1], piece.data(), piece.size()) ==
                   static_cast<ssize_t>(piece.size()));
        close(kiv_to_kiv_agent_pipe[1]);
    }
    said_before(const said_before &) = delete;
    said_before &operator=(const said_before &) = delete;
    ~said_before()
    {
        close(kiv_agent_to_kiv_pipe[0]);
        close(kiv_agent_to_kiv_pipe[1]);
        close(kiv_to_kiv_agent_pipe[0]);
    }
};

void check_reply(const char *command, const std::string &said, bool by_marker)
{
    char *text = kiv_interact_exec_single_cmd(command);
    expect(text != nullptr);
    const std::string reply = text;
    kiv_interact_buff_free(text);
    expect(reply.size() <= said.size());
    if (std::string(command).starts_with("show "))
        return;
    expect(said.starts_with(reply));
    expect(reply == said || (by_marker && ends_with_marker(reply)));
}

void check_record(kiv_interact_ret_info *record)
{
    expect(record == nullptr || (record->status >= 1 && record->status <= 3));
    kiv_interact_ret_info_free(record);
}

} // namespace

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
    const auto pieces = pieces_of(data + 1, size - 1);
    std::string said;
    for (const std::string &piece : pieces)
        said += piece;
    std::erase(said, '\0');

    kiv_interact_reply_end_set(by_marker ? KIV_INTERACT_END_MARKER : KIV_INTERACT_END_QUIET, 0);
    const said_before shell(pieces);
    switch (job) {
    case 0:
        check_reply("it", said, by_marker);
        break;
    case 1:
        check_reply("show it", said, by_marker);
        break;
    case 2:
        check_record(kiv_interact_exec_scrpt_cmd("show it"));
        break;
    default:
        check_record(kiv_interact_exec_conf_cmds("first\nsecond\nshow it\nlast"));
        break;
    }
    return 0;
}
