// What the shell and a module's process say to each other, over kiv/platform/ovra.h.
//
// The shell sends message_run to the module's service access point: a request_head, the pinfo
// without its list of arguments, and the arguments, each one an argument_head and its value, filled
// up with zeros to a multiple of 8 bytes. The module answers with the same opcode: the status of
// the answer is 0, or a library error code for a request that it has not run; the payload is an
// answer_head and as much of the output as fits, so that each piece but the last is piece_size long
// and `remaining` is exact. The shell asks for the rest piece by piece with message_rest, which is
// answered in the same way; who asks something else instead gives the rest up. Where too many
// outputs are being fetched, a rest is not kept: asking for it is answered with KIV_ERROR_NOT_FOUND
// and a text.
#ifndef LAB_MODULE_PROTOCOL_H
#define LAB_MODULE_PROTOCOL_H

#include <cstddef>
#include <cstdint>

#include <kiv/platform/ovra.h>

namespace kiv::module {

enum message : uint32_t {
    message_run = 7700,
    message_rest = 7701,
};

constexpr uint32_t protocol_version = 1;
constexpr size_t function_size = 48;
constexpr size_t alignment = 8;

struct request_head {
    uint32_t version;
    uint32_t argument_count;
    uint32_t pinfo_size;
    uint32_t reserved; // 0
    char function[function_size];
};

struct argument_head {
    int32_t token_id;
    uint32_t type;
    uint64_t mask;
    uint32_t subtype;
    uint32_t size; // of the value
};

struct answer_head {
    int32_t result;     // of the handler
    uint32_t remaining; // bytes of output behind this piece
};

constexpr uint32_t daemon_service = 37;
constexpr uint64_t daemon_address = OVRA_ADDRESS(OVRA_NODE_LOCAL, daemon_service);

constexpr size_t piece_size = OVRA_MAX_PAYLOAD - sizeof(answer_head);

static_assert(sizeof(request_head) % alignment == 0 && sizeof(argument_head) % alignment == 0);

} // namespace kiv::module

#endif
