// A second implementation of the message transport: it writes down what it is given and answers
// what the test has planned. Its functions stand before those of the platform's library, in
// programs that include this file once.
#ifndef KIV_TESTS_FAKE_SEAM_H
#define KIV_TESTS_FAKE_SEAM_H

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <kiv/platform/cmi.h>
#include <kiv/platform/ovra.h>

namespace fake_seam {

// What a call comes to: of a request, or of sending or receiving a message.
struct answer {
    int result = 0;
    int error = 0;
    std::string payload = {};
    uint32_t opcode = 0;
};

struct call {
    std::string text; // as in C, but for payloads
    std::string payload;
    int messages_held; // before it
};

inline std::vector<call> calls;
inline std::deque<answer> answers; // without any, each call succeeds
inline int messages_held = 0;
inline std::function<void()> before_receive; // the next one
inline constexpr uint32_t token = 77;

inline void plan(std::deque<answer> planned)
{
    calls.clear();
    answers = std::move(planned);
}

inline answer next_answer()
{
    if (answers.empty())
        return {};
    answer next = answers.front();
    answers.pop_front();
    errno = next.error;
    return next;
}

// The words of a record, or "null".
template <typename Record>
std::string words_of(const Record *record)
{
    if (record == nullptr)
        return "null";
    uint32_t words[sizeof(Record) / sizeof(uint32_t)];
    std::memcpy(words, record, sizeof words);
    std::string text;
    for (const uint32_t word : words)
        text += (text.empty() ? "{" : " ") + std::to_string(word);
    return text + "}";
}

template <typename... Arguments>
void record(const char *function, const std::string &payload, const Arguments &...arguments)
{
    std::ostringstream text;
    const char *mark = "(";
    text << function;
    ((text << std::exchange(mark, ", ") << arguments), ...);
    calls.push_back({text.str() + ")", payload, messages_held});
}

inline std::string bytes_of(const void *payload, uint32_t length)
{
    return payload == nullptr ? "" : std::string(static_cast<const char *>(payload), length);
}

inline std::string hex(uint64_t number)
{
    char text[32];
    std::snprintf(text, sizeof text, "0x%016llx", static_cast<unsigned long long>(number));
    return text;
}

inline std::string quoted(const char *text)
{
    return '"' + std::string(text) + '"';
}

// A block of exactly this size, so that a sanitizer sees who reads behind it.
inline void *exact_block(const std::string &payload)
{
    if (payload.empty())
        return nullptr;
    auto *block = static_cast<char *>(std::malloc(payload.size()));
    payload.copy(block, payload.size());
    return block;
}

inline int respond(void **response, uint32_t *length)
{
    const answer planned = next_answer();
    *length = planned.result < 0 ? 0 : static_cast<uint32_t>(planned.payload.size());
    if (response != nullptr)
        *response = planned.result < 0 ? nullptr : exact_block(planned.payload);
    return planned.result;
}

} // namespace fake_seam

int cmi_req_resp(uint32_t opcode, int32_t mode, const void *request, void **response,
                 uint32_t *length, const char *text1, const char *text2, uint32_t service,
                 uint32_t client, int32_t timeout) noexcept
{
    using namespace fake_seam;
    record("cmi_req_resp", bytes_of(request, *length), opcode, mode,
           request == nullptr ? "null" : "request", response == nullptr ? "null" : "&reply",
           *length, quoted(text1), quoted(text2), service, client, timeout);
    return respond(response, length);
}

int cmi_remote_req_resp(uint32_t opcode, int32_t mode, const void *request, void **response,
                        uint32_t *length, const char *text1, const char *text2, uint32_t service,
                        uint32_t node, int32_t timeout, uint32_t client, uint32_t flags) noexcept
{
    using namespace fake_seam;
    record("cmi_remote_req_resp", bytes_of(request, *length), opcode, mode,
           request == nullptr ? "null" : "request", response == nullptr ? "null" : "&reply",
           *length, quoted(text1), quoted(text2), service, hex(node), timeout, client, flags);
    return respond(response, length);
}

int ovra_send(int queue, uint64_t address, uint32_t opcode, const void *payload, uint32_t length,
              ovra_message *sent, uint32_t flags, const ovra_send_options *options) noexcept
{
    using namespace fake_seam;
    record("ovra_send", bytes_of(payload, length), queue, hex(address), opcode,
           payload == nullptr ? "null" : "payload", length, sent == nullptr ? "null" : "&sent",
           flags, words_of(options));
    const answer planned = next_answer();
    if (planned.result >= 0 && sent != nullptr) {
        *sent = {nullptr, 0, token, opcode, 0};
        ++messages_held;
    }
    return planned.result;
}

int ovra_recv(int queue, ovra_message *message, ovra_peer *peer,
              const ovra_recv_options *options) noexcept
{
    using namespace fake_seam;
    record("ovra_recv", "", queue, words_of(peer), words_of(options));
    if (before_receive)
        std::exchange(before_receive, nullptr)();
    const answer planned = next_answer();
    if (planned.result >= 0) {
        *message = {exact_block(planned.payload), 0, token, planned.opcode,
                    static_cast<uint32_t>(planned.payload.size())};
        ++messages_held;
    }
    return planned.result;
}

void ovra_drop(ovra_message *message) noexcept
{
    std::free(message->block);
    *message = {};
    --fake_seam::messages_held;
}

uint32_t ovra_opc_get(const ovra_message *message) noexcept
{
    return message->opcode;
}

uint32_t ovra_rr_token_get(const ovra_message *message) noexcept
{
    return message->token;
}

void *ovra_payload_get(const ovra_message *message) noexcept
{
    return message->block;
}

uint32_t ovra_payload_size(const ovra_message *message) noexcept
{
    return message->reserved;
}

int32_t ovra_options_get(int queue, uint32_t opcode) noexcept
{
    fake_seam::record("ovra_options_get", "", queue, opcode);
    return fake_seam::next_answer().result;
}

int ovra_options_set(int queue, uint32_t opcode, int32_t options) noexcept
{
    fake_seam::record("ovra_options_set", "", queue, opcode, options);
    return fake_seam::next_answer().result;
}

#endif
