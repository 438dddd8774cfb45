// The parts of the running configuration that modules keep.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <tuple>

#include <kiv/platform/syserr.h>

#include "module_link.h"

namespace kiv_shell {

namespace {

using namespace kiv::module;

// A request for one part, over a queue of its own, so that modules work at the same time and none
// gives up what another has asked for.
class part_request {
public:
    part_request(configuration_part &part, int wait_seconds)
        : part_(part), queue_(ovra_open(OVRA_ADDRESS_NONE, 0)), wait_seconds_(wait_seconds),
          until_(clock::now() + std::chrono::seconds(wait_seconds))
    {
        if (queue_ < 0) {
            fail(errno);
            return;
        }
        pinfo info{};
        info.ascii_gen = 1;
        info.cmi_msg_type = part.service;
        info.vsan_mask.size = sizeof info.vsan_mask.bytes;
        send(message_run, write_request(part.generator, info, {}));
    }

    ~part_request()
    {
        ovra_drop(&sent_);
        if (queue_ >= 0)
            ovra_close(queue_);
    }
    part_request(const part_request &) = delete;
    part_request &operator=(const part_request &) = delete;

    void finish()
    {
        uint32_t remaining = 0;
        while (!part_.missing && take(remaining) && remaining > 0) {
            until_ = clock::now() + std::chrono::seconds(wait_seconds_);
            send(message_rest, {});
        }
        if (part_.missing)
            part_.text.clear();
        else if (!part_.text.empty() && part_.text.back() != '\n')
            part_.text += '\n';
    }

private:
    using clock = std::chrono::steady_clock;

    void fail(int error) { part_.missing = transport_message(KIV_TIMEOUT_QUERY, error); }

    void send(uint32_t message, const std::string &payload)
    {
        ovra_drop(&sent_);
        const ovra_send_options options{.version = OVRA_OPTIONS_VERSION,
                                        .wait = static_cast<uint32_t>(wait_seconds_),
                                        .reserved1 = {},
                                        .priority = 0,
                                        .reserved2 = {},
                                        .reserved3 = {}};
        if (ovra_send(queue_, OVRA_ADDRESS(OVRA_NODE_LOCAL, part_.service), message, payload.data(),
                      static_cast<uint32_t>(payload.size()), &sent_, 0, &options) != 0)
            fail(errno);
    }

    bool take(uint32_t &remaining)
    {
        ovra_message answer{};
        if (receive(answer) != 0) {
            fail(errno == EAGAIN ? ETIME : errno);
            return false;
        }
        const bool taken = take_answer(answer, remaining);
        ovra_drop(&answer);
        return taken;
    }

    // The modules work at the same time, so that the time of one is not spent on another.
    int receive(ovra_message &answer)
    {
        const auto left = std::chrono::ceil<std::chrono::seconds>(until_ - clock::now()).count();
        const ovra_recv_options options{.version = OVRA_OPTIONS_VERSION,
                                        .flags = left > 0 ? 0 : OVRA_RECV_NO_WAIT,
                                        .wait = static_cast<uint32_t>(std::max(left, 0L)),
                                        .token = ovra_rr_token_get(&sent_),
                                        .reserved = {}};
        return ovra_recv(queue_, &answer, nullptr, &options);
    }

    bool take_answer(const ovra_message &answer, uint32_t &remaining)
    {
        const int32_t status = ovra_status_get(&answer);
        const size_t size = ovra_payload_size(&answer);
        answer_head head{};
        if (status != 0)
            part_.missing = syserr2str(static_cast<uint32_t>(status));
        else if (size < sizeof head)
            fail(EPROTO);
        if (part_.missing)
            return false;
        const char *payload = static_cast<const char *>(ovra_payload_get(&answer));
        std::copy_n(payload, sizeof head, reinterpret_cast<char *>(&head));
        if (part_.text.empty())
            part_.text.reserve(size + head.remaining);
        part_.text.append(payload + sizeof head, size - sizeof head);
        remaining = head.remaining;
        if (head.result != 0 && remaining == 0)
            part_.missing = part_.text.empty() ? "the command failed" : part_.text;
        else if (remaining > 0 && size == sizeof head)
            fail(EPROTO);
        return !part_.missing;
    }

    configuration_part &part_;
    ovra_message sent_{};
    int queue_;
    int wait_seconds_;
    clock::time_point until_;
};

} // namespace

std::vector<configuration_part> configuration_parts(const tree_view &tree)
{
    std::vector<configuration_part> parts;
    for (size_t i = 0; i < tree.size(); ++i) {
        const kiv_array_tree_node &node = tree.node(static_cast<node_index>(i));
        if (node.subtree_config_generator[0] == '\0')
            continue;
        parts.push_back({kiv_be16_get(node.asciigen_priority), kiv_be16_get(node.cmi_msg_type),
                         std::string(field_text(node.subtree_config_generator)),
                         std::string(field_text(node.module_id))});
    }
    const auto key = [](const configuration_part &part) {
        return std::tie(part.priority, part.generator, part.service);
    };
    std::ranges::sort(parts, {}, key);
    // Links make a node stand at several places, and several nodes may name one generator.
    const auto same = [&](const auto &one, const auto &other) { return key(one) == key(other); };
    parts.erase(std::unique(parts.begin(), parts.end(), same), parts.end());
    return parts;
}

void fetch_parts(std::vector<configuration_part> &parts, int wait_seconds)
{
    std::vector<std::unique_ptr<part_request>> requests;
    for (configuration_part &part : parts)
        requests.push_back(std::make_unique<part_request>(part, wait_seconds));
    for (const auto &request : requests)
        request->finish();
}

} // namespace kiv_shell
