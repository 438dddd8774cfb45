#include "sender.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

#include <kiv/common.h>
#include <kiv/platform/cmi.h>
#include <kiv/platform/syserr.h>

#include "lab/roles/decision.h"
#include "protocol.h"

namespace kiv::module {

namespace {

constexpr uid_t root = 0;
constexpr int32_t daemon_wait = 2; // seconds; the shell waits longer for its answer
constexpr std::chrono::seconds daemon_pause{5};

struct freed {
    void operator()(void *block) const { std::free(block); }
};

bool is_change(const kiv_module_command &wanted)
{
    return (wanted.flags & KIV_MODULE_CHANGES) != 0;
}

std::optional<kivd::sender_answer> ask_daemon(const ovra_peer &sender,
                                              const kiv_module_command &wanted, bool &timed_out)
{
    kivd::sender_question question{
        sender.uid, static_cast<int32_t>(sender.pid), is_change(wanted), {}};
    if (wanted.feature != nullptr)
        robust_strncpy(question.feature, wanted.feature, sizeof question.feature);
    uint32_t size = sizeof question;
    void *reply = nullptr;
    const int status = cmi_req_resp(kivd::message_sender, CMI_MODE_CHANGE, &question, &reply, &size,
                                    "", "", daemon_service, 0, daemon_wait);
    timed_out = status == -1 && errno == ETIME;
    const std::unique_ptr<void, freed> block(reply);
    kivd::sender_answer told;
    if (status != 0 || size != sizeof told)
        return {};
    std::memcpy(&told, reply, sizeof told);
    return told;
}

kivd::sender_answer administrator()
{
    kivd::sender_answer all{1, 1, 0, 0, KIV_BMP_INIT(4096)};
    std::ranges::fill(all.vsans.bytes, uint8_t{0xFF});
    return all;
}

} // namespace

refusal senders::identify(const ovra_peer &sender, const kiv_module_command &wanted, pinfo &info)
{
    const bool changes = is_change(wanted);
    kivd::sender_answer known = administrator();
    if (changes || sender.uid != root) {
        const std::optional<kivd::sender_answer> told = ask(sender, wanted);
        if (!told)
            return {KIV_ERROR_DENIED,
                    "The daemon, which knows who may do this, does not answer.\n"};
        known = *told;
    }
    if (changes && known.may_change == 0)
        return {KIV_ERROR_DENIED, "No role of yours permits to change this.\n"};
    if (changes && known.holds_lock == 0)
        return {KIV_ERROR_LOCKED, "This process does not hold the lock of the configuration.\n"};
    robust_strncpy(info.username, name_of(sender).c_str(), sizeof info.username);
    info.is_admin = known.is_administrator != 0;
    std::ranges::copy(known.vsans.bytes, info.vsan_mask.bytes);
    return {};
}

// Whoever waits here holds up everybody else, so a daemon that hangs costs one wait and not one for
// each request.
std::optional<kivd::sender_answer> senders::ask(const ovra_peer &sender,
                                                const kiv_module_command &wanted)
{
    if (std::chrono::steady_clock::now() < ask_again_)
        return {};
    bool timed_out = false;
    std::optional<kivd::sender_answer> told = ask_daemon(sender, wanted, timed_out);
    if (timed_out)
        ask_again_ = std::chrono::steady_clock::now() + daemon_pause;
    return told;
}

const std::string &senders::name_of(const ovra_peer &sender)
{
    if (sender.connection != connection_) {
        name_ = kiv::roles::user_name(sender.uid);
        connection_ = sender.connection;
    }
    return name_;
}

} // namespace kiv::module
