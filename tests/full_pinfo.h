// A parameter information record with every field set and an argument of every type.
#ifndef KIV_TESTS_FULL_PINFO_H
#define KIV_TESTS_FULL_PINFO_H

#include <array>
#include <bit>
#include <cstdint>
#include <string_view>

#include <kiv/kiv_lib.h>

namespace kiv_tests {

template <size_t Size>
void fill(char (&field)[Size], std::string_view text)
{
    field[text.copy(field, Size - 1)] = '\0';
}

struct three_ranges {
    int32_t count = 3;
    std::array<kiv_int_range, 3> ranges{{{1, 3}, {-7, 9}, {INT32_MAX, INT32_MIN}}};
};

// A value for each name in the last column of KIV_PARAMETER_TYPE_TABLE.
struct argument_values {
    argument_values()
    {
        uri.type = 4;
        uri.port = 8080;
        fill(uri.scheme, "bootflash");
        fill(uri.user, "admin");
        fill(uri.password, "never shown");
        fill(uri.server, "sup-1");
        fill(uri.path, "/images/a.bin");
    }

    char none = 0;
    char labelled_string[64] = "50% of a line, \"as it is\" %s";
    char dns_name[32] = "switch.example.com";
    char user_at_host[32] = "admin@switch";
    char inet_name[32] = "fe80::1";
    uri_info uri{};
    std::array<uint8_t, 4> ip_bytes{192, 0, 2, 255};
    uint32_t ip = std::bit_cast<uint32_t>(ip_bytes);
    kiv_inet_addr ipv4{KIV_INET_IPV4, {10, 1, 0, 254}};
    kiv_inet_addr ipv6{2, {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xab, 1}};
    kiv_inet_addr ipv4_or_v6{KIV_INET_IPV4,
                             {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 10, 2, 3, 4}};
    int32_t integer = -42;
    uint32_t intx = 0xBEEF;
    kiv_int_range integer_range{-1, 4093};
    kiv_int_range hex_range{0x10, -1};
    three_ranges integer_multi_range;
    three_ranges hex_multi_range;
    kiv_interface interface {
        0x01080000
    };
    kiv_interface_range interface_range{3, {{1, 2}, {4, 5}, {7, 8}}};
    std::array<uint8_t, 4> hex_4{0x00, 0xEF, 0x01, 0x0A};
    std::array<uint8_t, 6> hex_6{0x00, 0x05, 0x30, 0xAB, 0xCD, 0xEF};
    std::array<uint8_t, 8> hex_8{0x20, 0x00, 0x00, 0x05, 0x30, 0x00, 0x28, 0xDE};
    kiv_guid guid{0x00112233, 0x4455, 0x0077, {0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0x0F}};
    kiv_community community{65535, 100};
};

// Owns the entries and the values of its record, and so stays where it is.
class full_pinfo {
public:
    full_pinfo()
    {
        fill_session();
#define ADD_ARGUMENT(name, code, bounds, label, value) add(code, &values_.value);
        KIV_PARAMETER_TYPE_TABLE(ADD_ARGUMENT)
#undef ADD_ARGUMENT
        add(TYPE_IPV4_OR_V6, &values_.ipv4_or_v6, TYPE_IPV4);
        add(TYPE_IPV4_OR_V6, &values_.ipv4_or_v6, 0);
        add(TYPE_IPV6, &values_.ipv4, TYPE_IPV4); // the subtype does not count
        add(0x40100020, &values_.integer);        // of no known type
        add(TYPE_STRING, nullptr);
        pinfo_insert_arg(&record_, nullptr);
    }
    full_pinfo(const full_pinfo &) = delete;
    full_pinfo &operator=(const full_pinfo &) = delete;

    pinfo &record()
    {
        return record_;
    }

private:
    void fill_session()
    {
        record_.ascii_cmd_index = 200;
        record_.no_flag = 1;
        record_.debug_flag = -2;
        record_.submode_context = 3;
        record_.cmi_msg_type = 4;
        record_.shell_type = -5;
        record_.asciigen_level = 6;
        record_.ascii_gen = 1;
        record_.ovra_queue = 77;
        record_.command_id = 0xFFFFFFFF;
        fill(record_.ascii_command, "vsan database");
        fill(record_.vty_id, "pts/3");
        fill(record_.username, "admin");
        fill(record_.session_id, "10.0.0.1@pts/3");
        record_.sup_state = 8;
        record_.user_mode_state = 9;
        record_.is_admin = 1;
        record_.exec_filter_mode = 10;
        record_.vsan_mask = KIV_BMP_INIT(KIV_VSAN_BITS);
        for (const uint32_t vsan : {1U, 2U, 3U, 7U, 4093U})
            bmask4096_set_bit(&record_.vsan_mask, vsan);
        record_.script_mode = 11;
        record_.prc_mode = 12;
        record_.info_flags = KIV_INFO_PER_VSAN_ASCII_GEN | 0x80000000U;
        record_.user_perms_mask = 0xDEADBEEF;
        record_.filter = 0xF00D;
    }

    // An address that may be of either kind is one of IPv6 unless the subtype says otherwise.
    void add(uint32_t type, void *value, uint32_t subtype = TYPE_IPV6)
    {
        param_arg &entry = entries_[record_.parameter_count];
        populate_param_arg(&entry, 1000 + record_.parameter_count, type, 0x8000000000000041, value);
        entry.subtype = subtype;
        pinfo_insert_arg(&record_, &entry);
    }

    argument_values values_;
    std::array<param_arg, KIV_PINFO_ARG_PLACES> entries_{};
    pinfo record_{};
};

} // namespace kiv_tests

#endif
