#include "grammar/decompile.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "grammar/compile.h"
#include "grammar/grammar_writer.h"

namespace kiv::grammar {

namespace {

struct field {
    size_t end; // the offset behind it
    std::string_view name;
};

#define KIV_FIELD(member, name)                                                                    \
    field                                                                                          \
    {                                                                                              \
        offsetof(kiv_array_tree_node, member) + sizeof kiv_array_tree_node::member, name           \
    }

// In the order of the record.
constexpr std::array fields{
    KIV_FIELD(node_name, "node name"),
    KIV_FIELD(token, "token"),
    KIV_FIELD(help, "help"),
    KIV_FIELD(submode_help, "sub-mode help"),
    KIV_FIELD(submode_prompt, "sub-mode prompt"),
    KIV_FIELD(func_id, "function id"),
    KIV_FIELD(module_id, "module id"),
    KIV_FIELD(subtree_config_generator, "subtree config generator"),
    KIV_FIELD(optional, "optional field"),
    KIV_FIELD(cmi_msg_type, "message type"),
    KIV_FIELD(action, "action"),
    KIV_FIELD(token_id, "token id"),
    KIV_FIELD(command_id, "command id"),
    KIV_FIELD(permissions_mask, "permissions mask"),
    KIV_FIELD(parameters[0], "first parameter"),
    KIV_FIELD(parameters[1], "second parameter"),
    KIV_FIELD(internal_func_id, "internal function"),
    KIV_FIELD(parameter_count, "parameter count"),
    KIV_FIELD(asciigen_priority, "asciigen priority"),
    KIV_FIELD(child_count, "child count"),
    KIV_FIELD(children, "children"),
    KIV_FIELD(childlist_mask, "mask of links"),
    KIV_FIELD(interface_mask, "interface mask"),
    KIV_FIELD(reserved, "reserved bytes"),
};

#undef KIV_FIELD

static_assert(fields.back().end == sizeof(kiv_array_tree_node));

std::string_view name_of_byte(size_t offset)
{
    size_t row = 0;
    while (fields[row].end <= offset)
        ++row;
    return fields[row].name;
}

std::optional<unwritable> difference(std::span<const kiv_array_tree_node> wanted,
                                     std::span<const kiv_array_tree_node> made)
{
    for (size_t i = 0; i < wanted.size(); ++i) {
        const auto want = std::as_bytes(wanted.subspan(i, 1));
        const auto have = std::as_bytes(made.subspan(i, 1));
        if (std::memcmp(want.data(), have.data(), want.size()) == 0)
            continue;
        const auto at = std::ranges::mismatch(want, have).in1 - want.begin();
        return unwritable{static_cast<uint32_t>(i),
                          "no statement makes what is in its " +
                              std::string(name_of_byte(static_cast<size_t>(at)))};
    }
    return std::nullopt;
}

std::optional<unwritable> recompiled_fault(const grammar_writer &written,
                                           std::span<const kiv_array_tree_node> nodes)
{
    if (written.text().size() > longest_text)
        return unwritable{root_node, "the text would be longer than a grammar may be"};
    const result compiled = compile(written.text());
    if (!compiled.errors.empty()) {
        const diagnostic &error = compiled.errors.front();
        return unwritable{written.node_of_line(error.line), error.text};
    }
    if (compiled.nodes.size() != nodes.size())
        return unwritable{root_node, "the tree has changed meanwhile"};
    return difference(nodes, compiled.nodes);
}

} // namespace

decompiled decompile(std::span<const kiv_array_tree_node> nodes)
{
    try {
        grammar_writer writer{tree_records(nodes)};
        writer.write();
        if (auto fault = recompiled_fault(writer, nodes); fault)
            return {{}, std::move(fault)};
        return {writer.take_text(), std::nullopt};
    } catch (const unwritable &fault) {
        return {{}, fault};
    }
}

} // namespace kiv::grammar
