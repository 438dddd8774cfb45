#include <algorithm>
#include <array>
#include <concepts>
#include <cstdio>
#include <string_view>

#include <kiv/kiv_lib.h>

#include "common/standard_output.h"
#include "common/text.h"

namespace {

using kiv::field_text;
using kiv::large_output;
using kiv::standard_output;

using value_printer = void (*)(const param_arg &);

template <typename Value, void (*Print)(const Value *)>
void by_address(const param_arg &arg)
{
    Print(static_cast<const Value *>(arg.value));
}

template <typename Value, void (*Print)(Value)>
void by_value(const param_arg &arg)
{
    Print(*static_cast<const Value *>(arg.value));
}

template <int32_t Length>
void as_bytes(const param_arg &arg)
{
    print_hex(arg.value, Length);
}

void print_value_none(const param_arg &) {}

void print_value_uri(const param_arg &arg)
{
    kiv_uri_info_print(static_cast<const uri_info *>(arg.value));
}

void print_value_ipv4_or_v6(const param_arg &arg)
{
    const auto *address = static_cast<const kiv_inet_addr *>(arg.value);
    const bool is_ipv4 = arg.subtype == TYPE_IPV4;
    std::fputs(is_ipv4 ? "[IPv4]:" : "[IPv6]:", stdout);
    (is_ipv4 ? print_ipv4 : print_ipv6)(address);
}

template <typename Value, void (*Print)(const Value *)>
void with_mask(const param_arg &arg)
{
    by_address<Value, Print>(arg);
    std::fputs("Interface mask:", stdout);
    print_u_long_long(static_cast<int64_t>(arg.mask));
}

constexpr value_printer print_value_labelled_string = by_address<char, print_string>;
constexpr value_printer print_value_dns_name = by_address<char, print_dns_name>;
constexpr value_printer print_value_user_at_host = by_address<char, print_user_at_host>;
constexpr value_printer print_value_inet_name = by_address<char, print_inet_name>;
constexpr value_printer print_value_ip = by_value<uint32_t, print_ip>;
constexpr value_printer print_value_ipv4 = by_address<kiv_inet_addr, print_ipv4>;
constexpr value_printer print_value_ipv6 = by_address<kiv_inet_addr, print_ipv6>;
constexpr value_printer print_value_integer = by_value<int32_t, print_integer>;
constexpr value_printer print_value_intx = by_value<uint32_t, print_intx>;
constexpr value_printer print_value_integer_range = by_address<kiv_int_range, print_integer_range>;
constexpr value_printer print_value_hex_range = by_address<kiv_int_range, print_hex_range>;
constexpr value_printer print_value_integer_multi_range =
    by_address<kiv_int_multi_range, print_integer_multi_range>;
constexpr value_printer print_value_hex_multi_range =
    by_address<kiv_int_multi_range, print_hex_multi_range>;
constexpr value_printer print_value_interface = with_mask<kiv_interface, print_interface>;
constexpr value_printer print_value_interface_range =
    with_mask<kiv_interface_range, print_interface_range>;
constexpr value_printer print_value_hex_4 = as_bytes<4>;
constexpr value_printer print_value_hex_6 = as_bytes<6>;
constexpr value_printer print_value_hex_8 = as_bytes<8>;
constexpr value_printer print_value_guid = by_address<kiv_guid, print_guid>;
constexpr value_printer print_value_community = by_address<kiv_community, print_community>;

// The place of a string in a label is its end.
consteval std::string_view text_of_label(std::string_view label)
{
    constexpr std::string_view place = "%s";
    return label.ends_with(place) ? label.substr(0, label.size() - place.size()) : label;
}

struct argument_type {
    uint32_t code;
    std::string_view label;
    value_printer print_value;
};

constexpr std::array argument_types{
#define TYPE_ROW(name, code, bounds, label, value)                                                 \
    argument_type{code, text_of_label(label), print_value_##value},
    KIV_PARAMETER_TYPE_TABLE(TYPE_ROW)
#undef TYPE_ROW
};

static_assert(std::ranges::none_of(argument_types, [](const argument_type &row) {
    return row.label.find('%') != std::string_view::npos;
}));

constexpr argument_type unknown_type{0, "\nUnknown arg", print_value_none};

const argument_type &type_of(const param_arg &arg)
{
    const auto *row = std::ranges::find(argument_types, arg.type, &argument_type::code);
    return row == argument_types.end() ? unknown_type : *row;
}

std::string_view truth(bool value)
{
    return value ? "TRUE" : "FALSE";
}

struct hex {
    uint32_t number;
};

void append_piece(standard_output &out, std::string_view text)
{
    out.append(text);
}

void append_piece(standard_output &out, std::integral auto number)
{
    out.append_number(number);
}

void append_piece(standard_output &out, hex value)
{
    out.append_number(value.number, 16);
}

// Strings in fields of the record come as field_text.
void append_line(standard_output &out, const auto &...pieces)
{
    (append_piece(out, pieces), ...);
    out.append('\n');
}

void append_session(standard_output &out, const pinfo &record)
{
    append_line(out, "\n==== Param info ====");
    append_line(out, "No flag: ", truth(record.no_flag != 0),
                ", CMI mesg type: ", record.cmi_msg_type, ", Shell_type: ", record.shell_type,
                ", Submode_context: ", record.submode_context);
    append_line(out, "Parameter Count: ", record.parameter_count,
                ", Command Id: ", record.command_id, ", OVRA Q: ", record.ovra_queue);
    append_line(out, "Session id: ", field_text(record.session_id),
                ", Username: ", field_text(record.username), ", Debug_flag: ", record.debug_flag,
                ", filter: ", hex{record.filter}, " Prc_mode: ", record.prc_mode);
    append_line(out, "Sup state: ", record.sup_state, ", User mode state: ", record.user_mode_state,
                ", Is_admin: ", record.is_admin);
    append_line(out, "Exec_filter_mode: ", record.exec_filter_mode,
                ", Script_mode: ", record.script_mode);
    append_line(out, "Vty ID: ", field_text(record.vty_id),
                " User Perms Mask:", hex{record.user_perms_mask});
}

void append_generation(standard_output &out, const pinfo &record)
{
    const std::string_view command = field_text(record.ascii_command);
    append_line(out, "\nAscii Gen: ", truth(record.ascii_gen != 0));
    if (record.ascii_gen != 0) {
        append_line(out, ", Ascii cmd index: ", record.ascii_cmd_index,
                    ", Asciigen level: ", record.asciigen_level);
        append_line(out, "Ascii Cmd: ", command);
        append_line(out, "Per vsan Ascii Gen : ",
                    truth((record.info_flags & KIV_INFO_PER_VSAN_ASCII_GEN) != 0),
                    " Info flags: 0x", hex{record.info_flags});
    }
    append_line(out, "Ascii command: ", command, " Info flags: 0x", hex{record.info_flags});
}

// On standard output at once: what follows may not go there.
void print_part(void (*append)(standard_output &, const pinfo &), const pinfo &record)
{
    {
        large_output out;
        append(out, record);
    }
    std::fflush(stdout);
}

void print_arguments(const pinfo &record)
{
    for (int i = 0; i < record.parameter_count; ++i) {
        std::printf("\nParam Arg [%d].", i);
        print_pinfo_arg(record.args[i]);
    }
}

} // namespace

void print_pinfo_arg(const struct param_arg *arg) noexcept
{
    if (arg == nullptr)
        return;
    const bool has_value = arg->value != nullptr;
    const argument_type &type = type_of(*arg);
    {
        large_output out;
        out.append("Token id: ");
        out.append_number(arg->token_id);
        out.append(has_value ? type.label : "NULL");
    }
    if (has_value)
        type.print_value(*arg);
    std::fflush(stdout);
}

void print_pinfo(const struct pinfo *pinfo) noexcept
{
    if (pinfo == nullptr)
        return;
    print_part(append_session, *pinfo);
    kiv_print_vsan_mask(&pinfo->vsan_mask);
    print_part(append_generation, *pinfo);
    print_arguments(*pinfo);
    std::putchar('\n');
    std::fflush(stdout);
}
