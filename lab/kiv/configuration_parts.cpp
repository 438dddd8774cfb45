#include "configuration_parts.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <tuple>

#include <kiv/platform/syserr.h>

#include "module_link.h"

namespace kiv_shell {

using namespace kiv::module;

// A request for one part, over a queue of its own, so that none gives up what another has asked
// for.
class part_request {
public:
    part_request(uint16_t service, std::string_view generator, int wait_seconds)
        : service_(service), queue_(ovra_open(OVRA_ADDRESS_NONE, 0)), wait_seconds_(wait_seconds)
    {
        if (queue_ < 0) {
            fail(errno);
            return;
        }
        pinfo info{};
        info.ascii_gen = 1;
        info.cmi_msg_type = service;
        info.vsan_mask.size = sizeof info.vsan_mask.bytes;
        send(message_run, write_request(generator, info, {}));
    }

    ~part_request()
    {
        ovra_drop(&sent_);
        if (queue_ >= 0)
            ovra_close(queue_);
    }
    part_request(const part_request &) = delete;
    part_request &operator=(const part_request &) = delete;

    // Adds what the module says. Where that fails, the text is as it was. Memory is taken as if
    // `alike` parts of the same length came in all; what is not used costs nothing.
    failure finish(std::string &text, size_t alike)
    {
        const size_t start = text.size();
        for (bool is_more = true; is_more && !failed_;)
            is_more = take(text, start, alike);
        if (failed_)
            text.resize(start);
        else if (text.size() > start && text.back() != '\n')
            text += '\n';
        return failed_;
    }

    // Whether the module is not there, or does not answer: then nor has it other parts.
    bool is_silent() const { return is_silent_; }

private:
    using clock = std::chrono::steady_clock;

    static constexpr size_t most_reserved = size_t{1} << 26;

    struct dropped {
        void operator()(ovra_message *message) const { ovra_drop(message); }
    };

    bool fail(int error)
    {
        is_silent_ = true;
        failed_ = transport_message(KIV_TIMEOUT_QUERY, error);
        return false;
    }

    bool fail(std::string text)
    {
        failed_ = std::move(text);
        return false;
    }

    void send(uint32_t message, const std::string &payload)
    {
        ovra_drop(&sent_);
        until_ = clock::now() + std::chrono::seconds(wait_seconds_);
        const ovra_send_options options{.version = OVRA_OPTIONS_VERSION,
                                        .wait = static_cast<uint32_t>(wait_seconds_),
                                        .reserved1 = {},
                                        .priority = 0,
                                        .reserved2 = {},
                                        .reserved3 = {}};
        if (ovra_send(queue_, OVRA_ADDRESS(OVRA_NODE_LOCAL, service_), message, payload.data(),
                      static_cast<uint32_t>(payload.size()), &sent_, 0, &options) != 0)
            fail(errno);
    }

    // Takes a piece. Returns whether there is more.
    bool take(std::string &text, size_t start, size_t alike)
    {
        ovra_message answer{};
        if (receive(answer) != 0)
            return fail(errno == EAGAIN ? ETIME : errno);
        const std::unique_ptr<ovra_message, dropped> held(&answer);
        answer_head head{};
        if (!read_head(answer, head))
            return false;
        const std::string_view piece = piece_of(answer);
        if (head.result != 0)
            return fail(piece.empty() ? "the command failed" : std::string(piece));
        const size_t length = text.size() - start + piece.size() + head.remaining;
        if (!is_in_order(piece.size(), head.remaining, announced_))
            return fail(EPROTO);
        // The module makes the next piece ready meanwhile.
        if (head.remaining > 0)
            send(message_rest, {});
        if (text.size() == start)
            text.reserve(start + std::max(length, std::min(length * alike, most_reserved)));
        text.append(piece);
        return head.remaining > 0;
    }

    // Modules work at the same time, so the wait is from when this one was asked.
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

    bool read_head(const ovra_message &answer, answer_head &head)
    {
        const int32_t status = ovra_status_get(&answer);
        if (status != 0)
            return fail(syserr2str(static_cast<uint32_t>(status)));
        if (ovra_payload_size(&answer) < sizeof head)
            return fail(EPROTO);
        std::memcpy(&head, ovra_payload_get(&answer), sizeof head);
        return true;
    }

    static std::string_view piece_of(const ovra_message &answer)
    {
        const auto *payload = static_cast<const char *>(ovra_payload_get(&answer));
        return {payload + sizeof(answer_head), ovra_payload_size(&answer) - sizeof(answer_head)};
    }

    uint16_t service_;
    std::optional<size_t> announced_;
    ovra_message sent_{};
    int queue_;
    int wait_seconds_;
    clock::time_point until_;
    failure failed_;
    bool is_silent_ = false;
};

configuration_parts::configuration_parts(const tree_view &tree, int wait_seconds)
    : wait_seconds_(wait_seconds)
{
    for (size_t i = 0; i < tree.size(); ++i) {
        const kiv_array_tree_node &node = tree.node(static_cast<node_index>(i));
        if (node.subtree_config_generator[0] == '\0')
            continue;
        parts_.push_back({kiv_be16_get(node.asciigen_priority), kiv_be16_get(node.cmi_msg_type),
                          std::string(field_text(node.subtree_config_generator)),
                          std::string(field_text(node.module_id))});
    }
    // Several nodes may name one generator: its part stands where the first of them wants it.
    std::ranges::sort(parts_, {}, [](const part &each) {
        return std::tie(each.service, each.generator, each.priority);
    });
    const auto same = [](const part &one, const part &other) {
        return one.service == other.service && one.generator == other.generator;
    };
    parts_.erase(std::unique(parts_.begin(), parts_.end(), same), parts_.end());
    std::ranges::sort(parts_, {}, [](const part &each) {
        return std::tie(each.priority, each.generator, each.service);
    });
    for (size_t i = 0; i < parts_.size(); ++i) {
        const auto is_of_it = [&](const part &other) {
            return other.service == parts_[i].service && other.request != nullptr;
        };
        if (std::none_of(parts_.begin(), parts_.end(), is_of_it))
            ask_for_next(i, parts_[i].service);
    }
}

configuration_parts::~configuration_parts() = default;

// The first part of the service from there on.
void configuration_parts::ask_for_next(size_t from, uint16_t service)
{
    const auto next = std::find_if(parts_.begin() + static_cast<std::ptrdiff_t>(from), parts_.end(),
                                   [&](const part &each) { return each.service == service; });
    if (next != parts_.end())
        next->request = std::make_unique<part_request>(service, next->generator, wait_seconds_);
}

void configuration_parts::take(size_t index, std::string &text)
{
    part &wanted = parts_[index];
    wanted.missing = wanted.request->finish(text, parts_.size() - index);
    const bool is_silent = wanted.request->is_silent();
    wanted.request.reset();
    if (!is_silent)
        return ask_for_next(index + 1, wanted.service);
    for (part &other : parts_) {
        if (other.service == wanted.service)
            other.missing = wanted.missing;
    }
}

void configuration_parts::append(size_t index, std::string &text)
{
    const part &wanted = parts_[index];
    if (!wanted.missing)
        take(index, text);
    if (!wanted.missing)
        return;
    const std::string_view why = *wanted.missing;
    const std::string line = "! MISSING: " + wanted.generator + " of module " +
                             printable(wanted.module) + ": " +
                             printable(why.substr(0, why.find('\n'))) + "\n";
    text += line;
    missing_ += line;
}

} // namespace kiv_shell
