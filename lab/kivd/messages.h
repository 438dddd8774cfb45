#ifndef LAB_KIVD_MESSAGES_H
#define LAB_KIVD_MESSAGES_H

#include "daemon.h"

namespace kivd {

struct message {
    uint32_t opcode;
    const char *name;
    size_t size;         // of the payload, exactly
    uint8_t where;       // where it may come in: access points
    const char *feature; // what its sender must be allowed to configure, "" for anything at all;
                         // null: open to everybody
    reply (*serve)(daemon &, const request &);
};

// The row of a message that comes in there, or null.
const message *find_message(uint32_t opcode, access_point where);

} // namespace kivd

#endif
