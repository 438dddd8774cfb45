// Words for each type of argument, and whether they fit.
#ifndef KIV_TESTS_ARGUMENT_WORDS_H
#define KIV_TESTS_ARGUMENT_WORDS_H

#include <cstdint>

#include <kiv/common.h>

namespace kiv_shell::testing {

// Words with '|' between them; '' is the empty word. One that fits may have '=' and its canonical
// form behind it, where that is another.
struct argument_words {
    kiv_parameter_type type;
    uint32_t minimum;
    uint32_t maximum;
    const char *fitting;
    const char *out_of_bounds;
    const char *wrong;
};

constexpr uint32_t minus_5 = 0xFFFFFFFBU;
constexpr uint32_t largest = 0xFFFFFFFFU;

constexpr argument_words all_argument_words[] = {
    {TYPE_STRING, 3, 0, "''|a b", "abcd", ""},
    {TYPE_LINE, 0, 0, "a  b", "", "''"},
    {TYPE_URI, 0, 0, "a:|x+y:z?%20", "", "a|:a|1a:b|a:%2|a:%zz|a: "},
    {TYPE_URI, largest, 0, "x+y:z", "", "a"},
    {TYPE_URI, 4, 0, "tftp://h/f|TFTP:x", "ftp://h", "tftp|tftp://h:x/"},
    {TYPE_URI, 0x20080, 0, "bootflash:/a|DM-lib:b", "tftp:|dm-etc:b|unknown:", ""},
    {TYPE_DNS_NAME, 0, 0, "a|a-b.1.c.|10.0.0.x", "", "''|.|a..b|-a|a-.b|a_b|10.0.0.300"},
    {TYPE_USERATHOST, 0, 0, "u@h|a.b+c@::1", "", "@h|u@|u|u@h@h|u v@h"},
    {TYPE_IP, 0, 0, "1.2.3.4|FE80:0::01=fe80::1", "", "1.2.3|::g|h|''"},
    {TYPE_IPV4, 0, 0, "255.0.0.1", "", "256.0.0.1|::1|1.2.3.4 |1.2.3.4.5"},
    {TYPE_IPV6, 0, 0, "::|::ffff:1.2.3.4", "", "1.2.3.4|:::|1:2:3:4:5:6:7:8:9"},
    {TYPE_INET_NAME, 0, 0, "1.2.3.4|0::1=::1|Host", "", "1.2.3.400|a b"},
    {TYPE_INT, minus_5, 10, "-5|10|007=7|-00=0", "-6|11|99999999999999999999",
     "''|-|+1|1x|0x1|1-2"},
    {TYPE_INT_RANGE, minus_5, 10, "3|-05--3=-5--3|-1-10|04-4=4", "1-11|-6-1", "3-1|1-|-"},
    {TYPE_INT_MULTI_RANGE, 1, 9, "1,3-9|05,01-2=5,1-2", "1,10", "''|,1|1,|1,,2|1 2"},
    {TYPE_HEX, 1, largest, "0x1f|0X01F=0x1f|ffffffff=0xffffffff", "0|100000000", "0x|-1|0x-1|g"},
    {TYPE_HEX_RANGE, 0, 0xFF, "a-0xff=0xa-0xff", "a-100", "b-a|a--b"},
    {TYPE_HEX_MULTI_RANGE, 0, 0xFF, "1,a-f,0xff=0x1,0xa-0xf,0xff", "1,fff", "1,-f"},
    {TYPE_INTERFACE, 0, 0, "fc1/1|mgmt0", "", "fc1|fc1/|fc01/1|mgmt0/1|x1/1"},
    {TYPE_INTERFACE_RANGE, 0, 0, "fc1/1-4|fc1/1|port-channel1-2", "", "fc1/4-1|fc1/1-|fc1/-4"},
    {TYPE_MAC, 0, 0, "00:11:22:33:44:fF=00:11:22:33:44:ff", "",
     "00:11:22:33:44|0:11:22:33:44:55|''"},
    {TYPE_WWN, 0, 0, "20:00:00:11:22:33:44:55", "", "20:00:00:11:22:33:44:5|20:00"},
    {TYPE_LUN, 0, 0, "00|00:01:02:03:04:05:06:07", "", "''|0|00:|00:01:02:03:04:05:06:07:08"},
    {TYPE_VSAN, 1, 4093, "0010=10|4093", "0|4094", "a"},
    {TYPE_VSAN_RANGE, 1, 4093, "10-20", "10-4094", "20-10"},
    {TYPE_VSAN_MULTI_RANGE, 1, 4093, "1,10-20", "0,1", "1;2"},
    {TYPE_GUID, 0, 0, "01234567-89AB-cdef-0123-456789abcdef=01234567-89ab-cdef-0123-456789abcdef",
     "", "01234567-89ab-cdef-0123|x"},
    {TYPE_FC_ID, 0, 0, "0x01ABef=0x01abef", "", "01abef|0x1abef|0x01abefg"},
};

} // namespace kiv_shell::testing

#endif
