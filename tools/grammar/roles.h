#ifndef GRAMMAR_ROLES_H
#define GRAMMAR_ROLES_H

#include <cstdint>
#include <span>

#include <kiv/common.h>

#include "grammar/words.h"

namespace kiv::grammar {

using role_mask = std::span<uint8_t, KIV_BMP_SIZE(KIV_PERMISSIONS_BITS)>;

void allow_every_role(role_mask mask);

// Reads ROLE..., numbers, ranges and names, or none, to the end of the line. The mask then holds
// these roles alone.
void read_roles(word_list &words, role_mask mask);

} // namespace kiv::grammar

#endif
