#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <kiv/common.h>

#include "fetch.h"
#include "standard_output.h"
#include "text.h"

namespace {

using kiv::field_text;
using kiv::large_output;
using kiv::literal;
using kiv::small_output;
using kiv::standard_output;
using node_record = kiv_array_tree_node;

constexpr size_t array_tree_indentation = 3;
constexpr size_t ptr_tree_indentation = 2;

std::string_view text_or_empty(const char *text)
{
    return text == nullptr ? "" : text;
}

// A label of a caller, which comes without its colon.
void append_label(standard_output &out, const char *label)
{
    out.append(text_or_empty(label));
    out.append(':');
}

void append_string(standard_output &out, const literal &label, std::string_view text)
{
    if (text.empty())
        return;
    out.append(label);
    out.append(text);
    out.append(' ');
}

void append_integer(standard_output &out, const literal &label, auto value)
{
    if (value == 0)
        return;
    out.append(label);
    out.append_number(value);
    out.append(' ');
}

void append_hex_value(standard_output &out, const void *value, size_t size)
{
    out.append("0x");
    out.append_hex_reversed(static_cast<const uint8_t *>(value), size);
    out.append(' ');
}

// As bitset_printf_hex prints it.
void append_mask(standard_output &out, const literal &label, const auto &mask)
{
    out.append(label);
    append_hex_value(out, mask.bytes, sizeof mask.bytes);
}

enum class form { string, action_flag, int16, int32, hex32, int64, permissions, links };

// A labelled value of a node: `size` is that of a string, or the mask of a flag.
struct node_field {
    form shown_as;
    literal label;
    size_t offset;
    size_t size = 0;
};

#define STRING_FIELD(label, field)                                                                 \
    node_field                                                                                     \
    {                                                                                              \
        form::string, label ":", offsetof(node_record, field), sizeof(node_record::field)          \
    }
#define FIELD(shown_as, label, field)                                                              \
    node_field                                                                                     \
    {                                                                                              \
        shown_as, label ":", offsetof(node_record, field)                                          \
    }
#define ACTION_FLAG(label, flag)                                                                   \
    node_field                                                                                     \
    {                                                                                              \
        form::action_flag, label ":", offsetof(node_record, action), flag                          \
    }

// In the order in which a node's line shows them.
constexpr std::array node_fields{
    STRING_FIELD("NodeName", node_name),
    STRING_FIELD("Token", token),
    STRING_FIELD("Help", help),
    ACTION_FLAG("SubMode", KIV_ACTION_SUBMODE),
    STRING_FIELD("SubMode_Help", submode_help),
    STRING_FIELD("SubMode_Prompt", submode_prompt),
    STRING_FIELD("subtree_config_generator", subtree_config_generator),
    ACTION_FLAG("Terminal", KIV_ACTION_TERMINAL),
    STRING_FIELD("Func_ID", func_id),
    STRING_FIELD("module_id", module_id),
    FIELD(form::permissions, "permissions_mask", permissions_mask),
    FIELD(form::int32, "token_id", token_id),
    FIELD(form::int32, "command_id", command_id),
    FIELD(form::int32, "action", action),
    FIELD(form::hex32, "action", action),
    FIELD(form::int16, "internal_func_id", internal_func_id),
    FIELD(form::int16, "optional", optional),
    FIELD(form::int16, "cmi_msg_type", cmi_msg_type),
    FIELD(form::int16, "asciigen_priority", asciigen_priority),
    FIELD(form::int64, " Interface Mask", interface_mask),
    FIELD(form::links, "childlist_mask", childlist_mask),
};

#undef STRING_FIELD
#undef FIELD
#undef ACTION_FLAG

template <typename Field>
Field value_at(const char *bytes)
{
    Field value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

int32_t signed32(kiv_be32 field)
{
    return static_cast<int32_t>(kiv_be32_get(field));
}

bmask128 permissions_of(const node_record &node)
{
    bmask128 mask = KIV_BMP_INIT(KIV_PERMISSIONS_BITS);
    bmask128_from_bitarray(&mask, node.permissions_mask);
    return mask;
}

bmask256 links_of(const node_record &node)
{
    bmask256 mask = KIV_BMP_INIT(KIV_CHILDLIST_BITS);
    bmask256_from_bitarray(&mask, node.childlist_mask);
    return mask;
}

void append_field(standard_output &out, const node_field &field, const node_record &node,
                  const bmask256 &links)
{
    const char *bytes = reinterpret_cast<const char *>(&node) + field.offset;
    switch (field.shown_as) {
    case form::string:
        if (*bytes != '\0')
            append_string(out, field.label, {bytes, strnlen(bytes, field.size)});
        return;
    case form::action_flag:
        return append_integer(out, field.label, value_at<kiv_be32>(bytes) & field.size);
    case form::int16:
        return append_integer(out, field.label, value_at<kiv_be16>(bytes));
    case form::int32:
        return append_integer(out, field.label, signed32(value_at<kiv_be32>(bytes)));
    case form::hex32:
        if (value_at<kiv_be32>(bytes) == 0)
            return;
        out.append(field.label);
        return append_hex_value(out, bytes, sizeof(kiv_be32));
    case form::int64:
        return append_integer(out, field.label, static_cast<int64_t>(value_at<kiv_be64>(bytes)));
    case form::permissions:
        return append_mask(out, field.label, permissions_of(node));
    case form::links:
        return append_mask(out, field.label, links);
    }
}

// How the bounds of a parameter are shown; one whose type is absent shows neither.
enum class bounds { absent, none, decimal, hexadecimal, length, schemes, interfaces };

struct parameter_type {
    uint32_t code;
    literal name;
    bounds shown_as;
};

constexpr std::array parameter_types{
#define TYPE_ROW(name, code, bounds_form, label, value)                                            \
    parameter_type{code, #name, bounds::bounds_form},
    KIV_PARAMETER_TYPE_TABLE(TYPE_ROW)
#undef TYPE_ROW
};

void append_range(standard_output &out, const kiv_parameter &param, std::string_view prefix,
                  auto to_number, int base)
{
    if (const int32_t subtype = signed32(param.subtype); subtype != 0) {
        out.append("|Subtype:");
        out.append_number(subtype);
        return;
    }
    out.append(":");
    out.append(prefix);
    out.append_number(to_number(param.minimum), base);
    out.append(" to ");
    out.append(prefix);
    out.append_number(to_number(param.maximum), base);
}

void append_bounds(standard_output &out, const kiv_parameter &param, bounds shown_as)
{
    switch (shown_as) {
    case bounds::absent:
    case bounds::none:
        return;
    case bounds::decimal:
        return append_range(out, param, "", signed32, 10);
    case bounds::hexadecimal:
        return append_range(out, param, "0x", kiv_be32_get, 16);
    case bounds::length:
        out.append(":");
        return out.append_number(signed32(param.minimum));
    case bounds::schemes:
        out.append(" Mask:");
        return out.append_number(signed32(param.minimum));
    case bounds::interfaces:
        out.append(" Mask:");
        return out.append_number(static_cast<int64_t>(kiv_be64_get(param.type_mask)));
    }
}

uint32_t group_of(uint32_t type)
{
    constexpr uint32_t top_bits = 0xC0000000U;
    return type & ((type & top_bits) != 0 ? KIV_TYPE_STRUCTURED_GROUP_MASK : KIV_TYPE_GROUP_MASK);
}

void append_parameter(standard_output &out, const kiv_parameter &param)
{
    const uint32_t type = param.type;
    out.append("<Parameter ");
    const auto *row = std::ranges::find(parameter_types, type, &parameter_type::code);
    if (row != parameter_types.end() && row->shown_as != bounds::absent) {
        out.append(row->name);
        append_bounds(out, param, row->shown_as);
    }
    append_string(out, " help:", field_text(param.help));
    out.append("{");
    out.append_number(group_of(type));
    out.append("}>");
}

void exit_if_too_deep(standard_output &out, int32_t depth)
{
    if (depth < KIV_TREE_MAX_DEPTH)
        return;
    out.append("Error: Cycle in parse tree or exceeded maximum depth\n");
    out.flush();
    std::exit(-1);
}

void indent(standard_output &out, int32_t depth, size_t width)
{
    out.append_blanks(static_cast<size_t>(std::max(depth, 0)) * width);
}

void append_link(standard_output &out, const node_record &target, int32_t depth)
{
    indent(out, depth, array_tree_indentation);
    out.append("<Link> Nodename:");
    out.append(field_text(target.node_name));
    out.append('\n');
}

void append_array_tree(standard_output &out, const node_record *tree, int32_t index, int32_t depth)
{
    exit_if_too_deep(out, depth);
    const node_record &node = tree[index];
    if (node.child_count > 0)
        kiv::fetch(tree[node.children[0]]);
    const bmask256 links = links_of(node);
    indent(out, depth, array_tree_indentation);
    out.append("<NODE> ");
    for (const node_field &field : node_fields)
        append_field(out, field, node, links);
    for (uint32_t i = 0; i < node.parameter_count; ++i)
        append_parameter(out, node.parameters[i]);
    out.append('\n');
    for (uint32_t i = 0; i < node.child_count; ++i) {
        const uint16_t child = node.children[i];
        if (i + 1U < node.child_count)
            kiv::fetch(tree[node.children[i + 1]]);
        if (bmask256_is_bit_set(&links, i))
            append_link(out, tree[child], depth + 1);
        else
            append_array_tree(out, tree, child, depth + 1);
    }
}

void append_ptr_tree(standard_output &out, const kiv_ptr_tree_node *node, int32_t depth)
{
    exit_if_too_deep(out, depth);
    if (node == nullptr)
        return;
    indent(out, depth, ptr_tree_indentation);
    append_string(out, "nodename:", text_or_empty(node->node_name));
    append_string(out, "Token:", text_or_empty(node->token));
    append_string(out, "Help:", text_or_empty(node->help));
    append_string(out, "funcID:", text_or_empty(node->func_id));
    append_string(out, "modID:", text_or_empty(node->module_id));
    append_integer(out, "array_index:", node->array_index);
    for (const kiv_ptr_tree_name *name = node->names; name != nullptr; name = name->next) {
        out.append(':');
        out.append(field_text(name->name));
        out.append(':');
    }
    out.append('\n');
    for (const kiv_ptr_tree_child *child = node->children; child != nullptr; child = child->next)
        append_ptr_tree(out, child->node, depth + 1);
}

void append_entry(standard_output &out, const kiv_tree_table_entry &entry)
{
    append_string(out, " module_id:", field_text(entry.module_id));
    append_string(out, " par file name:", field_text(entry.par_file_name));
    out.append('\n');
}

} // namespace

void print_str(const char *label, const char *s) noexcept
{
    const std::string_view text = text_or_empty(s);
    if (text.empty())
        return;
    small_output out;
    append_label(out, label);
    out.append(text);
    out.append(' ');
}

void print_int(const char *label, int32_t v) noexcept
{
    print_u_l_long(label, v);
}

void print_u_l_long(const char *label, int64_t v) noexcept
{
    if (v == 0)
        return;
    small_output out;
    append_label(out, label);
    out.append_number(v);
    out.append(' ');
}

void print_hex_value(const char *label, const void *bytes, size_t n) noexcept
{
    small_output out;
    append_label(out, label);
    append_hex_value(out, bytes, n);
}

void display_array_tree(const kiv_array_tree_node *tree, int32_t index, int32_t depth) noexcept
{
    large_output out;
    if (tree != nullptr)
        append_array_tree(out, tree, index, depth);
}

int display_ptr_tree(const kiv_ptr_tree_node *node, int32_t depth) noexcept
{
    large_output out;
    append_ptr_tree(out, node, depth);
    return node == nullptr ? 1 : 0;
}

void display_param(const kiv_parameter *param) noexcept
{
    KIV_ASSERT("common", param);
    small_output out;
    append_parameter(out, *param);
}

void displayChildren(const kiv_ptr_tree_node *node) noexcept
{
    KIV_ASSERT("common", node);
    small_output out;
    for (const kiv_ptr_tree_child *child = node->children; child != nullptr; child = child->next) {
        out.append("Child: ");
        out.append(text_or_empty(child->node == nullptr ? nullptr : child->node->token));
        out.append(' ');
    }
}

void displayPath(const kiv_subtree_path *path) noexcept
{
    KIV_ASSERT("common", path);
    small_output out;
    append_integer(out, "Path type:", path->path_type);
    append_string(out, "Location:", field_text(path->location));
    out.append('\n');
}

void show_tree_table(const kiv_tree_table_entry *entries, int32_t count) noexcept
{
    KIV_ASSERT("common", entries != nullptr || count <= 0);
    large_output out;
    out.append("\n\n=======================================\n"
               "Displaying Tree Table\n"
               "=======================================\n");
    for (int32_t i = 0; i < count; ++i) {
        out.append("---------------------------------------\n");
        append_entry(out, entries[i]);
        out.append('\n');
    }
    out.append("=======================================\n\n\n");
}

void show_tree_table_entry(const kiv_tree_table_entry *entry) noexcept
{
    small_output out;
    if (entry != nullptr)
        append_entry(out, *entry);
}
