// Where the daemon and the switch's platform are, and how they are asked over a message queue.
#ifndef KIV_PROCESS_API_KIVD_ADDRESS_H
#define KIV_PROCESS_API_KIVD_ADDRESS_H

#include <cstdint>

#include <kiv/platform/ovra.h>

namespace kiv {

inline constexpr uint32_t kivd_service = 37;
inline constexpr uint32_t platform_service = 0;
inline constexpr uint64_t kivd_address = OVRA_ADDRESS(OVRA_NODE_LOCAL, kivd_service);
inline constexpr uint64_t platform_address = OVRA_ADDRESS(OVRA_NODE_LOCAL, platform_service);

inline constexpr ovra_send_options send_options{OVRA_OPTIONS_VERSION, 0, {}, 0, {}, {}};

// Sends a message without a payload, one way, with the transport's defaults.
inline int notify_platform(int queue, uint32_t opcode)
{
    return ovra_send(queue, platform_address, opcode, nullptr, 0, nullptr, 0, nullptr);
}

// A message that is dropped at the end, once there is one.
class owned_message {
public:
    owned_message() = default;
    owned_message(const owned_message &) = delete;
    owned_message &operator=(const owned_message &) = delete;
    ~owned_message()
    {
        if (held_)
            ovra_drop(&message_);
    }

    // Sends the daemon a question without a payload. Returns the transport's result.
    int ask_daemon(int queue, uint32_t opcode)
    {
        return hold(
            ovra_send(queue, kivd_address, opcode, nullptr, 0, &message_, 0, &send_options));
    }

    int receive(int queue, ovra_peer *peer, const ovra_recv_options *options)
    {
        return hold(ovra_recv(queue, &message_, peer, options));
    }

    const ovra_message *get() const { return &message_; }

private:
    int hold(int result)
    {
        held_ = result >= 0;
        return result;
    }

    ovra_message message_{};
    bool held_ = false;
};

// What became of a question to the daemon over a queue.
enum class question { not_sent, not_answered, answered };

// Asks the daemon a question without a payload and waits for its answer, 10 seconds at most.
question ask_daemon(int queue, uint32_t opcode, owned_message &answer);

// Copies the first `size` bytes of the message; false, with errno EPROTO, where it has less.
bool copy_payload(const owned_message &message, void *to, uint32_t size);

} // namespace kiv

#endif
