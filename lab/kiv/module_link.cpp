#include "module_link.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <kiv/platform/cmi.h>
#include <kiv/platform/syserr.h>

#include "argument_values.h"
#include "files.h"
#include "lab/roles/decision.h"

namespace kiv_shell {

namespace {

using namespace kiv::module;

constexpr uint32_t no_client = 0;

struct freed {
    void operator()(void *block) const { std::free(block); }
};

// What a function prints on standard output, which may be a pipe that somebody reads answers from.
template <class Function>
std::string printed_by(Function function)
{
    std::fflush(stdout);
    const unique_fd kept(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    const unique_fd file(memfd_create("printed", MFD_CLOEXEC));
    if (!kept || !file || dup2(file.get(), STDOUT_FILENO) < 0)
        return {};
    function();
    std::fflush(stdout);
    dup2(kept.get(), STDOUT_FILENO);
    std::string text;
    lseek(file.get(), 0, SEEK_SET);
    kiv::support::read_all(file.get(), KIV_NOTICE_COMMAND_SIZE, text);
    return text;
}

// What is the same for every request of this shell.
pinfo own_record()
{
    pinfo info{};
    const char *terminal = ttyname(STDIN_FILENO);
    robust_strncpy(info.vty_id, terminal == nullptr ? "" : terminal, sizeof info.vty_id);
    robust_strncpy(info.username, kiv::roles::user_name(geteuid()).c_str(), sizeof info.username);
    robust_strncpy(info.session_id, std::to_string(getpid()).c_str(), sizeof info.session_id);
    info.vsan_mask.size = sizeof info.vsan_mask.bytes;
    return info;
}

const pinfo &caller()
{
    static const pinfo record = own_record();
    return record;
}

} // namespace

bool is_in_order(size_t piece, size_t remaining, std::optional<size_t> &announced)
{
    constexpr size_t longest_output = size_t{1} << 28;
    const size_t here = piece + remaining;
    const bool is_announced = !announced || *announced == here;
    announced = remaining;
    return is_announced && here <= longest_output && (remaining == 0 || piece == piece_size);
}

std::string transport_message(kiv_timeout_kind kind, int error)
{
    if (error != EPIPE && error != ETIME)
        return std::string("Internal CLI error: ") + std::strerror(error) + '\n';
    return printed_by([&] { kiv_print_ovra_error_message(kind, error); });
}

// Takes the output of an answer; false for a payload that is none.
bool module_link::take_piece(const void *payload, size_t size, answer_head &head,
                             std::string &output)
{
    if (size < sizeof head)
        return false;
    std::memcpy(&head, payload, sizeof head);
    output.append(static_cast<const char *>(payload) + sizeof head, size - sizeof head);
    return is_in_order(size - sizeof head, head.remaining, announced_);
}

module_link::answer module_link::ask(uint32_t message, uint32_t service, const std::string &request,
                                     kiv_timeout_kind kind, std::string &output)
{
    void *reply = nullptr;
    auto size = static_cast<uint32_t>(request.size());
    const int status = cmi_req_resp(message, request.empty() ? CMI_MODE_QUERY : CMI_MODE_CHANGE,
                                    request.empty() ? nullptr : request.data(), &reply, &size, "",
                                    "", service, no_client, wait_seconds_);
    const int error = errno;
    const std::unique_ptr<void, freed> block(reply);
    if (status == -1 && error != 0)
        return {transport_message(kind, error)};
    answer_head head{};
    const size_t start = output.size();
    const bool is_answer = take_piece(reply, size, head, output);
    needs_lock_ = static_cast<uint32_t>(status) == KIV_ERROR_LOCKED;
    if (status != 0)
        return {output.size() == start ? syserr2str(static_cast<uint32_t>(status))
                                       : output.substr(start)};
    if (!is_answer)
        return {transport_message(kind, EPROTO)};
    if (head.result != 0 && head.remaining == 0)
        return {output.empty() ? "the command failed" : output};
    return {{}, head.remaining};
}

failure module_link::run(const tree_view &tree, const command &parsed, std::vector<argument> within,
                         bool configures, std::string &output)
{
    pinfo info = caller();
    const kiv_array_tree_node &node = tree.node(parsed.node);
    info.no_flag = !parsed.words.empty() && parsed.words.front().value == "no";
    info.submode_context = static_cast<int32_t>(within.size());
    info.cmi_msg_type = service_of(tree, parsed.node);
    info.command_id = node.command_id;
    for (argument &own : arguments_of(tree, parsed))
        within.push_back(std::move(own));
    const std::string request = write_request(tree.function(parsed.node), info, within);
    if (request.empty())
        return "the line is too long for a module, or has too many arguments";
    const kiv_timeout_kind kind = configures ? KIV_TIMEOUT_CHANGE : KIV_TIMEOUT_QUERY;
    const uint16_t service = service_of(tree, parsed.node);
    needs_lock_ = false;
    announced_.reset();
    answer last = ask(message_run, service, request, kind, output);
    while (!last.failed && last.remaining > 0)
        last = ask(message_rest, service, {}, kind, output);
    return last.failed;
}

} // namespace kiv_shell
