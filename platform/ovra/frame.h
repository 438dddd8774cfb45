#ifndef OVRA_FRAME_H
#define OVRA_FRAME_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <sys/uio.h>

#include <kiv/platform/ovra.h>

namespace kiv::transport {

struct frame_header {
    uint32_t magic;
    uint32_t opcode;
    int32_t mode; // of a request; the status of an answer
    uint32_t token;
    uint32_t client;
    uint32_t payload_length;
    std::array<uint16_t, 2> text_length;
    uint32_t is_answer;
};
static_assert(sizeof(frame_header) == 32);
static_assert(offsetof(frame_header, mode) == 8);
static_assert(offsetof(frame_header, payload_length) == 20);
static_assert(offsetof(frame_header, text_length) == 24);
static_assert(offsetof(frame_header, is_answer) == 28);

// Most bytes behind a header: the texts' NULs are not counted in OVRA_MAX_PAYLOAD.
constexpr size_t max_body = OVRA_MAX_PAYLOAD + 2;

// What the caller of a sending function says. Its texts have their NULs behind them.
struct content {
    uint32_t opcode = 0;
    int32_t mode = 0;
    uint32_t client = 0;
    const void *payload = nullptr;
    uint32_t length = 0;
    std::array<std::string_view, 2> texts{};
};

// A message as it is sent.
class outgoing_frame {
public:
    // Takes over what a caller says, but not its memory. Returns 0, EMSGSIZE, or EINVAL for a
    // length without a payload.
    int set(const content &content);

    // Returns 0 or the errno value of sending it whole.
    int send(int socket, int flags) const;

    frame_header header{};

private:
    std::array<iovec, 3> body_{};
    size_t size_ = 0;
};

// Whether a header speaks of `body_size` bytes behind it, within the limits.
bool fits(const frame_header &header, size_t body_size);

// Whether the texts at the start of a body that fits have their NULs where they should be.
bool has_sound_texts(const frame_header &header, const char *body);

// Where the second text, or with 2 the payload, starts in the body as it is sent.
size_t offset_of(const frame_header &header, size_t part);

} // namespace kiv::transport

#endif
