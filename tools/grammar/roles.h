#ifndef GRAMMAR_ROLES_H
#define GRAMMAR_ROLES_H

#include <cstdint>
#include <span>
#include <string>

#include <kiv/common.h>

#include "grammar/words.h"

namespace kiv::grammar {

using role_mask = std::span<uint8_t, KIV_BMP_SIZE(KIV_PERMISSIONS_BITS)>;
using const_role_mask = std::span<const uint8_t, KIV_BMP_SIZE(KIV_PERMISSIONS_BITS)>;

void allow_every_role(role_mask mask);

bool is_every_role(const_role_mask mask);

// The mask as ROLE... is written.
std::string roles_text(const_role_mask mask);

// Reads ROLE..., numbers, ranges and names, or none, to the end of the line. The mask then holds
// these roles alone.
void read_roles(word_list &words, role_mask mask);

} // namespace kiv::grammar

#endif
