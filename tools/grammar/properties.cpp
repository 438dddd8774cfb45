#include "grammar/properties.h"

#include <type_traits>

#include "grammar/numbers.h"
#include "grammar/roles.h"
#include "grammar/tree_records.h"

namespace kiv::grammar {

namespace {

using record = kiv_array_tree_node;

template <auto Field>
std::string text(const record &from)
{
    return std::string(field_text(from.*Field));
}

template <auto Field, typename Integer>
std::string integer(const record &from)
{
    const auto value = static_cast<Integer>(std::make_unsigned_t<Integer>{from.*Field});
    return value == 0 ? std::string() : std::to_string(value);
}

std::string mask(uint64_t value)
{
    return value == 0 ? std::string() : hexadecimal_text(value);
}

std::string interfaces(const record &from)
{
    return mask(from.interface_mask);
}

std::string further_action(const record &from)
{
    return mask(from.action & ~(KIV_ACTION_TERMINAL | KIV_ACTION_SUBMODE));
}

std::string roles(const record &from)
{
    return is_every_role(from.permissions_mask) ? std::string() : roles_text(from.permissions_mask);
}

constexpr property rows[] = {
    {"generator", value_form::text, text<&record::subtree_config_generator>},
    {"priority", value_form::number, integer<&record::asciigen_priority, uint16_t>},
    {"roles", value_form::words, roles},
    {"interfaces", value_form::words, interfaces},
    {"token-id", value_form::number, integer<&record::token_id, int32_t>},
    {"command-id", value_form::number, integer<&record::command_id, int32_t>},
    {"message-type", value_form::number, integer<&record::cmi_msg_type, uint16_t>},
    {"internal-function", value_form::number, integer<&record::internal_func_id, uint16_t>},
    {"optional", value_form::number, integer<&record::optional, uint16_t>},
    {"action", value_form::words, further_action},
};

} // namespace

std::span<const property> properties()
{
    return rows;
}

} // namespace kiv::grammar
