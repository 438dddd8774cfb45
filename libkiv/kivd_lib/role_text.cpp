// The texts of rules and of changes, in buffers of the caller.

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string_view>

#include <kiv/kivd_lib.h>

#include "common/text.h"
#include "kivd_lib/role_fields.h"

namespace {

constexpr size_t rule_line_size = 80;

using role_text = kiv::fixed_text<KIVD_ROLE_TEXT_SIZE>;

// The word of type i is in place i - 1.
constexpr std::array<std::string_view, 2> rule_type_words{"permit", "deny"};
constexpr std::array<std::string_view, 5> command_type_words{"clear", "config", "debug", "show",
                                                             "exec"};

// Empty for a type that there is not.
template <size_t Count>
constexpr std::string_view word_of(const std::array<std::string_view, Count> &words, int32_t type)
{
    return type >= 1 && type <= static_cast<int32_t>(Count) ? words[static_cast<size_t>(type - 1)]
                                                            : std::string_view{};
}

template <size_t Size>
void store(char *str, const kiv::fixed_text<Size> &text)
{
    std::memcpy(str, text.c_str(), text.length() + 1);
}

// What an accounting line says. In the texts stands %n for the number of the rule, %l for the line
// that configures it, %r for the role, %d for its description, %v for its virtual SANs.
struct accounting_line {
    int32_t message;
    std::optional<int32_t> change; // none: any
    std::string_view negated;
    std::string_view otherwise;
};

constexpr std::string_view vsan_list_line = "Updated permitted vsan list to %v for role %r";

constexpr std::array accounting_lines{
    accounting_line{KIVD_ROLE_MESSAGE_RULE, KIVD_ROLE_CHANGE_RULE, "Deleted rule %n for role %r",
                    "Configured '%l' for role %r"},
    accounting_line{KIVD_ROLE_MESSAGE_RULE, KIVD_ROLE_CHANGE_VSAN_LIST, vsan_list_line,
                    vsan_list_line},
    accounting_line{KIVD_ROLE_MESSAGE_RULE, KIVD_ROLE_CHANGE_VSAN_POLICY,
                    "vsan policy set to default (permit) for role %r",
                    "vsan policy set to deny for role %r"},
    accounting_line{KIVD_ROLE_MESSAGE_NAME, {}, "Deleted role name %r", "Created role name %r"},
    accounting_line{KIVD_ROLE_MESSAGE_DESCRIPTION,
                    {},
                    "Deleted description for role %r",
                    "Configured description for role %r to be %d"},
};

using change_record = kivd_perm_group_conf_cli_wrapper;

void append_rule_number(role_text &text, const change_record &change)
{
    text.append(change.rule_num);
}

void append_rule_line(role_text &text, const change_record &change)
{
    std::array<char, rule_line_size> line;
    kivd_perm_group_conf_entry_cli_str_get(line.data(), &change.rule, change.rule_num);
    text.append(line.data());
}

void append_role_name(role_text &text, const change_record &change)
{
    text.append(kiv::field_text(change.role_name));
}

void append_description(role_text &text, const change_record &change)
{
    text.append(kiv::field_text(change.description));
}

void append_vsans(role_text &text, const change_record &change)
{
    std::array<char, KIVD_ROLE_TEXT_SIZE> list;
    vsan_bitset_sprintf(list.data(), list.size(), &change.vsans);
    text.append(list.data());
}

struct marked_value {
    char mark;
    void (*append)(role_text &text, const change_record &change);
};

constexpr std::array marked_values{
    marked_value{'n', append_rule_number}, marked_value{'l', append_rule_line},
    marked_value{'r', append_role_name},   marked_value{'d', append_description},
    marked_value{'v', append_vsans},
};

const accounting_line *find_line(int32_t message_type, int32_t change)
{
    const auto *found = std::ranges::find_if(accounting_lines, [&](const accounting_line &row) {
        return row.message == message_type && row.change.value_or(change) == change;
    });
    return found == accounting_lines.end() ? nullptr : found;
}

void expand(role_text &text, std::string_view form, const change_record &change)
{
    while (!form.empty()) {
        const size_t mark = form.find('%');
        text.append(form.substr(0, mark));
        if (mark == std::string_view::npos)
            return;
        std::ranges::find(marked_values, form[mark + 1], &marked_value::mark)->append(text, change);
        form.remove_prefix(mark + 2);
    }
}

} // namespace

int kivd_perm_group_rule_type_str_get(char *str, int32_t rule_type) noexcept
{
    KIV_ASSERT("kivd_lib", str);
    const std::string_view word = word_of(rule_type_words, rule_type);
    KIV_ASSERT_TEXT("kivd_lib", !word.empty(), "0");
    robust_strcpy(str, word.data());
    return 0;
}

int kivd_perm_group_command_type_str_get(char *str, int32_t command_type) noexcept
{
    KIV_ASSERT("kivd_lib", str);
    const std::string_view word = word_of(command_type_words, command_type);
    KIV_ASSERT_TEXT("kivd_lib", !word.empty(), "0");
    robust_strcpy(str, word.data());
    return 0;
}

int kivd_perm_group_conf_entry_cli_str_get(char *str, const kivd_perm_group_conf_entry *entry,
                                           int32_t rule_num) noexcept
{
    KIV_ASSERT("kivd_lib", str);
    KIV_ASSERT("kivd_lib", entry);
    const kiv::rule_words words(*entry);
    kiv::fixed_text<rule_line_size> line;
    line.append("rule ").append(rule_num);
    line.append(" ").append(words.rule_type());
    line.append(" ").append(words.command_type()).append(" ");
    if (!kiv::is_of_all_features(*entry))
        line.append("feature ").append(kiv::field_text(entry->feature));
    store(str, line);
    return 0;
}

int kivd_perm_group_wrapper_cli_str_get(char *str, int32_t message_type,
                                        const kivd_perm_group_conf_cli_wrapper *wrapper) noexcept
{
    KIV_ASSERT("kivd_lib", str);
    KIV_ASSERT("kivd_lib", wrapper);
    const accounting_line *line = find_line(message_type, wrapper->kind);
    KIV_ASSERT_TEXT("kivd_lib", line != nullptr, "0");
    role_text text;
    expand(text, wrapper->no_flag == 1 ? line->negated : line->otherwise, *wrapper);
    store(str, text);
    return 0;
}
