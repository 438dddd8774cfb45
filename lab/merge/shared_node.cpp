#include "shared_node.h"

#include <algorithm>
#include <cstring>

#include "grammar/tree_records.h"

namespace kiv::merge {

using grammar::field_text;
using node_record = kiv_array_tree_node;

namespace {

constexpr uint32_t handler_flags = KIV_ACTION_TERMINAL | KIV_ACTION_SUBMODE;

template <size_t Size>
bool same(const char (&a)[Size], const char (&b)[Size])
{
    return field_text(a) == field_text(b);
}

template <class Integer>
bool same(const Integer &a, const Integer &b)
{
    return +a == +b;
}

template <size_t Size>
void take(char (&into)[Size], const char (&from)[Size])
{
    std::memcpy(into, from, Size);
}

template <class Integer>
void take(Integer &into, const Integer &from)
{
    into = from;
}

// Where nodes differ in a value that no command depends on, the smaller one that is set stays:
// numbers as unsigned ones, texts by their bytes. It matters neither which tree came first nor how
// often one came.
template <size_t Size>
void take_smaller(char (&into)[Size], const char (&from)[Size])
{
    const auto text = field_text(from);
    if (!text.empty() && (into[0] == '\0' || text < field_text(into)))
        take(into, from);
}

template <class Integer>
void take_smaller(Integer &into, const Integer &from)
{
    if (+from != 0 && (+into == 0 || +from < +into))
        into = from;
}

template <size_t Size>
void take_smaller(uint8_t (&into)[Size], const uint8_t (&from)[Size])
{
    for (size_t i = 0; i < Size; ++i)
        take_smaller(into[i], from[i]);
}

template <size_t Size>
void add_bits(uint8_t (&into)[Size], const uint8_t (&from)[Size])
{
    for (size_t i = 0; i < Size; ++i)
        into[i] = static_cast<uint8_t>(into[i] | from[i]);
}

// The fields that say what a command does, besides the flags.
template <class Node, class Visit>
void for_each_handler_field(Node &a, const node_record &b, Visit visit)
{
    visit("function", a.func_id, b.func_id);
    visit("module", a.module_id, b.module_id);
    visit("prompt", a.submode_prompt, b.submode_prompt);
    visit("command id", a.command_id, b.command_id);
    visit("token id", a.token_id, b.token_id);
    visit("message type", a.cmi_msg_type, b.cmi_msg_type);
    visit("internal function", a.internal_func_id, b.internal_func_id);
}

void join_handlers(node_record &into, const node_record &from)
{
    if (has_handler(into))
        return;
    const bool taken = has_handler(from);
    for_each_handler_field(into, from, [&](const char *, auto &field, const auto &other) {
        taken ? take(field, other) : take_smaller(field, other);
    });
}

void join_generators(node_record &into, const node_record &from)
{
    if (has_generator(into))
        return;
    if (!has_generator(from))
        return take_smaller(into.asciigen_priority, from.asciigen_priority);
    take(into.subtree_config_generator, from.subtree_config_generator);
    into.asciigen_priority = from.asciigen_priority;
}

template <size_t Size>
void copy_text(char (&to)[Size], const char (&from)[Size])
{
    if (from[0] != '\0')
        std::memcpy(to, from, strnlen(from, Size));
}

void copy_parameter(kiv_parameter &to, const kiv_parameter &from)
{
    to.type = from.type;
    to.type_mask = from.type_mask;
    copy_text(to.help, from.help);
    to.minimum = from.minimum;
    to.maximum = from.maximum;
    to.subtype = from.subtype;
    std::ranges::copy(from.reserved, to.reserved);
}

} // namespace

bool has_handler(const node_record &node)
{
    return node.func_id[0] != '\0' || (node.action & handler_flags) != 0;
}

bool has_generator(const node_record &node)
{
    return node.subtree_config_generator[0] != '\0';
}

const char *difference_of_handlers(const node_record &a, const node_record &b)
{
    const char *difference = nullptr;
    for_each_handler_field(a, b, [&](const char *name, const auto &field, const auto &other) {
        if (difference == nullptr && !same(field, other))
            difference = name;
    });
    if (difference == nullptr && ((a.action ^ b.action) & handler_flags) != 0)
        return "action";
    return difference;
}

bool same_generator(const node_record &a, const node_record &b)
{
    return same(a.subtree_config_generator, b.subtree_config_generator) &&
           same(a.asciigen_priority, b.asciigen_priority);
}

void join(node_record &into, const node_record &from)
{
    join_handlers(into, from);
    join_generators(into, from);
    into.action = into.action | from.action;
    into.interface_mask = into.interface_mask | from.interface_mask;
    add_bits(into.permissions_mask, from.permissions_mask);
    take_smaller(into.node_name, from.node_name);
    take_smaller(into.help, from.help);
    take_smaller(into.submode_help, from.submode_help);
    take_smaller(into.optional, from.optional);
    take_smaller(into.reserved, from.reserved);
    for (size_t i = 0; i < into.parameter_count; ++i)
        take_smaller(into.parameters[i].reserved, from.parameters[i].reserved);
}

void copy_content(node_record &to, const node_record &from)
{
    copy_text(to.node_name, from.node_name);
    copy_text(to.token, from.token);
    copy_text(to.help, from.help);
    copy_text(to.submode_help, from.submode_help);
    copy_text(to.submode_prompt, from.submode_prompt);
    copy_text(to.func_id, from.func_id);
    copy_text(to.module_id, from.module_id);
    copy_text(to.subtree_config_generator, from.subtree_config_generator);
    to.optional = from.optional;
    to.cmi_msg_type = from.cmi_msg_type;
    to.action = from.action;
    to.token_id = from.token_id;
    to.command_id = from.command_id;
    std::ranges::copy(from.permissions_mask, to.permissions_mask);
    for (size_t i = 0; i < from.parameter_count; ++i)
        copy_parameter(to.parameters[i], from.parameters[i]);
    to.internal_func_id = from.internal_func_id;
    to.parameter_count = from.parameter_count;
    to.asciigen_priority = from.asciigen_priority;
    to.interface_mask = from.interface_mask;
    std::ranges::copy(from.reserved, to.reserved);
}

} // namespace kiv::merge
