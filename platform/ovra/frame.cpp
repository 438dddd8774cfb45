#include "ovra/frame.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include <sys/socket.h>

#include <kiv/platform/ovra.h>

namespace kiv::transport {

namespace {

size_t with_nul(size_t length)
{
    return length == 0 ? 0 : length + 1;
}

iovec piece(const void *data, size_t size)
{
    return {.iov_base = const_cast<void *>(data), .iov_len = size};
}

bool is_within_limits(size_t first, size_t second, size_t payload)
{
    constexpr size_t longest = std::numeric_limits<uint16_t>::max();
    return first <= longest && second <= longest && first + second + payload <= OVRA_MAX_PAYLOAD;
}

} // namespace

int outgoing_frame::set(const content &content)
{
    const auto &[first, second] = content.texts;
    if (!is_within_limits(first.size(), second.size(), content.length))
        return EMSGSIZE;
    if (content.payload == nullptr && content.length > 0)
        return EINVAL;
    header.magic = OVRA_FRAME_MAGIC;
    header.opcode = content.opcode;
    header.mode = content.mode;
    header.client = content.client;
    header.payload_length = content.length;
    header.text_length = {static_cast<uint16_t>(first.size()),
                          static_cast<uint16_t>(second.size())};
    body_ = {piece(first.data(), with_nul(first.size())),
             piece(second.data(), with_nul(second.size())), piece(content.payload, content.length)};
    size_ = offset_of(header, 2) + content.length;
    return 0;
}

// What is small is put together here: the kernel takes longer to collect it.
int outgoing_frame::send(int socket, int flags) const
{
    std::array<char, 512> whole; // NOLINT: filled as far as it is sent
    std::array<iovec, 4> pieces{piece(&header, sizeof header), body_[0], body_[1], body_[2]};
    flags |= MSG_NOSIGNAL;
    if (sizeof header + size_ <= whole.size()) {
        char *end = whole.data();
        for (const iovec &next : pieces)
            end = std::copy_n(static_cast<const char *>(next.iov_base), next.iov_len, end);
        return ::send(socket, whole.data(), sizeof header + size_, flags) < 0 ? errno : 0;
    }
    msghdr message{};
    message.msg_iov = pieces.data();
    message.msg_iovlen =
        static_cast<size_t>(std::remove_if(pieces.begin(), pieces.end(),
                                           [](const iovec &next) { return next.iov_len == 0; }) -
                            pieces.begin());
    return sendmsg(socket, &message, flags) < 0 ? errno : 0;
}

bool fits(const frame_header &header, size_t body_size)
{
    const auto [first, second] = header.text_length;
    return header.magic == OVRA_FRAME_MAGIC && header.is_answer <= 1 &&
           is_within_limits(first, second, header.payload_length) &&
           offset_of(header, 2) + header.payload_length == body_size;
}

bool has_sound_texts(const frame_header &header, const char *body)
{
    for (size_t i = 0; i < header.text_length.size(); ++i) {
        const size_t length = header.text_length[i];
        if (length > 0 && strnlen(body + offset_of(header, i), length + 1) != length)
            return false;
    }
    return true;
}

size_t offset_of(const frame_header &header, size_t part)
{
    size_t offset = 0;
    for (size_t i = 0; i < part; ++i)
        offset += with_nul(header.text_length[i]);
    return offset;
}

} // namespace kiv::transport
