#include "grammar/statements.h"

#include <algorithm>
#include <limits>
#include <string>
#include <type_traits>

#include "grammar/fields.h"
#include "grammar/numbers.h"
#include "grammar/parameter_types.h"
#include "grammar/refusal.h"
#include "grammar/roles.h"
#include "support/shell_word.h"

namespace kiv::grammar {

namespace {

using record = kiv_array_tree_node;

template <auto Field>
void text(word_list &words, std::string_view name, record &to)
{
    store_text(to.*Field, words.take(name).text, name);
}

template <auto Field>
void filled_text(word_list &words, std::string_view name, record &to)
{
    const std::string &value = words.take(name).text;
    if (value.empty())
        refuse("expected " + std::string(name) + ", found an empty text");
    store_text(to.*Field, value, name);
}

void token(word_list &words, std::string_view name, record &to)
{
    filled_text<&record::token>(words, name, to);
    if (!support::is_plain_word(to.token))
        refuse_found(std::string(name) + " without blanks, \", \\, and ! or > in front", to.token);
}

template <auto Field>
void help(word_list &words, std::string_view, record &to)
{
    read_help(words, to.*Field);
}

template <auto Field, typename Integer>
void integer(word_list &words, std::string_view name, record &to)
{
    using stored = std::make_unsigned_t<Integer>;
    to.*Field = static_cast<stored>(number<Integer>(words.take(name).text));
}

void action_flags(word_list &words, std::string_view name, record &to)
{
    const std::string &value = words.take(name).text;
    const uint32_t flags = number<uint32_t>(value);
    if ((flags & (KIV_ACTION_TERMINAL | KIV_ACTION_SUBMODE)) != 0)
        refuse_found("FLAGS without the bits 0x4 (\"terminal\") and 0x8 (\"submode\")", value);
    to.action = to.action | flags;
}

template <uint16_t Position>
void parameter(word_list &words, std::string_view, record &to)
{
    read_parameter(words, to.parameters[Position]);
    to.parameter_count = Position + 1;
}

void permissions(word_list &words, std::string_view, record &to)
{
    read_roles(words, to.permissions_mask);
}

constexpr uint8_t below_node = below_keyword | below_argument;
constexpr uint8_t beside_nodes = top_level | below_node;
constexpr uint8_t below_owner = below_root | below_node;

constexpr statement statements[] = {
    {"keyword",
     effect::keyword,
     beside_nodes,
     "",
     0,
     {{{"TOKEN", token}, {"HELP", help<&record::help>}}}},
    {"argument", effect::argument, beside_nodes, "", 0, {{{"TYPE", parameter<0>}}}},
    {"link", effect::link, beside_nodes, "", 0, {{{"NAME", filled_text<&record::node_name>}}}},
    {"root", effect::root, top_level, "", 0, {}},
    {"module", effect::default_module, top_level, "", 0, {{{"ID", text<&record::module_id>}}}},
    {"module", effect::property, below_owner, "module id", 0, {{{"ID", text<&record::module_id>}}}},
    {"name",
     effect::property,
     below_owner,
     node_name_field,
     0,
     {{{"NAME", filled_text<&record::node_name>}}}},
    {"run",
     effect::property,
     below_owner,
     "function id",
     KIV_ACTION_TERMINAL,
     {{{"FUNCTION", filled_text<&record::func_id>}}}},
    {"handler",
     effect::property,
     below_owner,
     "function id",
     0,
     {{{"FUNCTION", filled_text<&record::func_id>}}}},
    {"terminal", effect::property, below_owner, "terminal flag", KIV_ACTION_TERMINAL, {}},
    {"submode",
     effect::property,
     below_owner,
     submode_field,
     KIV_ACTION_SUBMODE,
     {{{"PROMPT", text<&record::submode_prompt>}, {"HELP", help<&record::submode_help>}}}},
    {"or", effect::property, below_argument, "second parameter", 0, {{{"TYPE", parameter<1>}}}},
    {"generator",
     effect::property,
     below_owner,
     "subtree config generator",
     0,
     {{{"NAME", filled_text<&record::subtree_config_generator>}}}},
    {"priority",
     effect::property,
     below_owner,
     "asciigen priority",
     0,
     {{{"N", integer<&record::asciigen_priority, uint16_t>}}}},
    {"roles", effect::property, below_owner, "permissions mask", 0, {{{"ROLE", permissions}}}},
    {"interfaces",
     effect::property,
     below_owner,
     "interface mask",
     0,
     {{{"MASK", integer<&record::interface_mask, uint64_t>}}}},
    {"token-id",
     effect::property,
     below_owner,
     "token id",
     0,
     {{{"N", integer<&record::token_id, int32_t>}}}},
    {"command-id",
     effect::property,
     below_owner,
     "command id",
     0,
     {{{"N", integer<&record::command_id, int32_t>}}}},
    {"message-type",
     effect::default_message_type,
     top_level,
     "",
     0,
     {{{"N", integer<&record::cmi_msg_type, uint16_t>}}}},
    {"message-type",
     effect::property,
     below_owner,
     message_type_field,
     0,
     {{{"N", integer<&record::cmi_msg_type, uint16_t>}}}},
    {"internal-function",
     effect::property,
     below_owner,
     "internal function",
     0,
     {{{"N", integer<&record::internal_func_id, uint16_t>}}}},
    {"optional",
     effect::property,
     below_owner,
     "optional field",
     0,
     {{{"N", integer<&record::optional, uint16_t>}}}},
    {"action",
     effect::property,
     below_owner,
     "further action bits",
     0,
     {{{"FLAGS", action_flags}}}},
};

struct place_name {
    place where;
    std::string_view text;
};

constexpr place_name place_names[] = {
    {top_level, "without indentation"},
    {below_root, "below \"root\""},
    {below_keyword, "below a keyword"},
    {below_argument, "below an argument"},
};

std::string names_of(uint8_t places)
{
    std::string names;
    for (const place_name &row : place_names) {
        if ((places & row.where) != 0)
            names.append(names.empty() ? "" : " or ").append(row.text);
    }
    return names;
}

} // namespace

const statement &find_statement(std::string_view text, place here)
{
    const statement *elsewhere = nullptr;
    for (const statement &row : statements) {
        if (row.word != text)
            continue;
        if ((row.places & here) != 0)
            return row;
        elsewhere = &row;
    }
    if (elsewhere == nullptr)
        refuse_found("a statement", text);
    refuse("expected " + quoted(text) + " " + names_of(elsewhere->places) + ", found it " +
           names_of(here));
}

void apply(const statement &what, word_list &words, kiv_array_tree_node &to)
{
    for (const operand &row : what.operands) {
        if (row.read != nullptr)
            row.read(words, row.name, to);
    }
    words.expect_end();
    to.action = to.action | what.action;
}

} // namespace kiv::grammar
