/*
 * kiv_lib.h - what a command handler gets, and what handlers and the shell
 * share: the parameter information record and its arguments, their printers,
 * URI information, and small services of a shell session.
 */
#ifndef KIV_KIV_LIB_H
#define KIV_KIV_LIB_H

#include <kiv/bmp_template.h>
#include <kiv/common.h>
#include <kiv/kiv.h>

KIV_EXTERN_C_BEGIN

/* -- Values of arguments -------------------------------------------------- */

/* Each type of argument (KIV_PARAMETER_TYPE_TABLE in kiv/common.h) has one of these layouts, or a
 * string, a 32-bit integer, or so many bytes. */

/* An integer, hexadecimal or virtual SAN range. */
typedef struct kiv_int_range {
    int32_t low;
    int32_t high;
} kiv_int_range;

/* `count` ranges, of which the first is declared; a count of 0 or less is none. The count is
 * trusted: so many ranges are there. */
typedef struct kiv_int_multi_range {
    int32_t count;
    kiv_int_range ranges[1];
} kiv_int_multi_range;

typedef struct kiv_interface {
    uint32_t ifindex;
} kiv_interface;

typedef struct kiv_interface_mono_range {
    uint32_t first;
    uint32_t last;
} kiv_interface_mono_range;

#define KIV_INTERFACE_RANGES 33

typedef struct kiv_interface_range {
    uint32_t count; /* kept by the caller */
    kiv_interface_mono_range ranges[KIV_INTERFACE_RANGES];
} kiv_interface_range;

typedef struct kiv_if_index_list {
    int32_t length; /* 0 or less: none */
    const uint32_t *indices;
} kiv_if_index_list;

#define KIV_INET_IPV4 1U /* any other family is IPv6 */

/* The address is in network byte order; one of IPv4 takes the first four bytes. */
typedef struct kiv_inet_addr {
    uint32_t family;
    uint8_t address[16];
} kiv_inet_addr;

typedef struct kiv_inet_prefix {
    kiv_inet_addr address;
    int32_t length;
} kiv_inet_prefix;

typedef struct kiv_community {
    uint16_t first;
    uint16_t second;
} kiv_community;

/* RFC 4122, in the byte order of the host. */
typedef struct kiv_guid {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    uint8_t data4[8];
} kiv_guid;

/* -- The parameter information record ------------------------------------- */

/* The capacity of the list, and the places that its 8-bit count can come to: what is inserted
 * without a check, or left behind by a deletion past the end, stays inside the record. */
#define KIV_PINFO_MAX_ARGS (16 * 2)
#define KIV_PINFO_ARG_PLACES 256

/* A parsed argument. Whoever built the list owns entry and value. */
struct param_arg {
    int32_t token_id;
    uint32_t type;    /* enum kiv_parameter_type */
    uint64_t mask;    /* interface types: those that the value names */
    void *value;      /* null: none */
    uint32_t subtype; /* TYPE_IPV4_OR_V6: TYPE_IPV4, or anything else for IPv6 */
};

/* Flags in pinfo.info_flags. */
#define KIV_INFO_PER_VSAN_ASCII_GEN 0x1U

/* What a handler is told about the command that it serves: who runs it, in which session and mode,
 * and the arguments. Flat, so that it is copied as one block; the entries of the arguments are not
 * part of it. A bool is 0 or not 0. */
struct pinfo {
    uint8_t parameter_count; /* entries of args in use */
    uint8_t ascii_cmd_index;
    int32_t no_flag; /* bool: the negated form of the command */
    int32_t debug_flag;
    int32_t submode_context;
    int32_t cmi_msg_type; /* by which the command's component is reached */
    int32_t shell_type;
    int32_t asciigen_level;
    int32_t ascii_gen;  /* bool: generate configuration text, do not execute */
    int32_t ovra_queue; /* of the requester */
    uint32_t command_id;
    char ascii_command[512]; /* the text being generated */
    char vty_id[32];         /* terminal of the session */
    char username[32];
    char session_id[32];
    struct param_arg *args[KIV_PINFO_ARG_PLACES];
    int32_t sup_state;
    int32_t user_mode_state;
    int32_t is_admin;      /* bool */
    uint8_t reserved1[64]; /* not interpreted, like the other reserved fields */
    int32_t exec_filter_mode;
    bmask4096 vsan_mask; /* the virtual SANs on which the user may act */
    int32_t script_mode;
    uint32_t reserved2[2];
    int32_t prc_mode;
    uint32_t info_flags;
    uint32_t user_perms_mask;
    uint32_t filter;
    uint8_t reserved3[64];
};

/* Null records abort through the assertion, which names the parameter. An index outside
 * KIV_PINFO_ARG_PLACES gives -1 and changes nothing. */

/* Copies the whole record but for the number of arguments, which becomes 0; a null source gives a
 * record of zeros. Returns 0. */
KIV_API int pinfo_basic_copy(struct pinfo *dest_pinfo, const struct pinfo *src_pinfo) KIV_NOEXCEPT;

/* Appends the entry. Does not check the capacity of the list: callers do. Returns 0. */
KIV_API int pinfo_insert_arg(struct pinfo *pinfo, struct param_arg *arg) KIV_NOEXCEPT;

/* Puts the entry at `index`, counted from 0, before the one that is there; behind the last one it
 * moves nothing, and the count grows by one all the same. Asserts that the list is not full.
 * Returns 0. */
KIV_API int pinfo_insert_arg_at_index(struct pinfo *pinfo, struct param_arg *arg,
                                      int32_t index) KIV_NOEXCEPT;

/* Replaces the entry at `param_index`, counted from 1, in or behind the list. Returns 0. */
KIV_API int pinfo_set_arg(struct pinfo *pinfo, struct param_arg *arg,
                          int32_t param_index) KIV_NOEXCEPT;

/* Takes the entry at `param_index`, counted from 1, out of the list. An index behind the list takes
 * the last entry, and the count of an empty list becomes 255: callers check. Asserts an index above
 * 0. Returns 0. */
KIV_API int pinfo_delete_arg(struct pinfo *pinfo, int32_t param_index) KIV_NOEXCEPT;

/* Empties the list; the entries stay with their owner. Returns 0. */
KIV_API int pinfo_delete_all_arg(struct pinfo *pinfo) KIV_NOEXCEPT;

/* Stores the mask of the last argument that is an interface or an interface range. Returns 0, or -1
 * with a mask of 0 where there is none or its mask is 0. */
KIV_API int pinfo_get_latest_intf_mask(const struct pinfo *pinfo, uint64_t *intf_mask) KIV_NOEXCEPT;

/* Fill an argument, but for its subtype, and values of interface types. Return 0. A slot that a
 * range list does not have is left out. */
KIV_API int populate_param_arg(struct param_arg *param_arg, int32_t token_id, uint32_t type,
                               uint64_t mask, void *value) KIV_NOEXCEPT;
KIV_API int populate_intf(kiv_interface *intf_ptr, uint32_t ifindex) KIV_NOEXCEPT;
KIV_API int populate_mono_intf_range(kiv_interface_mono_range *intf_mono_range_ptr, uint32_t first,
                                     uint32_t last) KIV_NOEXCEPT;
KIV_API int populate_intf_range(kiv_interface_range *intf_range_ptr, int32_t slot, uint32_t first,
                                uint32_t last) KIV_NOEXCEPT;

/* -- Printers of values --------------------------------------------------- */

/* The functions whose names end in _to_str return a text on the heap, null where memory is short.
 * The others print that text, or nothing for null, on standard output, and flush it. Lengths of 0
 * or less are empty values. Null values assert their parameter's name, null bytes only where there
 * are any; a null string prints nothing. */

/* Returns a copy of `s` on the heap, null for null and where memory is short. */
KIV_API char *create_str(const char *s) KIV_NOEXCEPT;

/* Prints a string as it stands, whole. */
KIV_API void print_string(const char *s) KIV_NOEXCEPT;
KIV_API void print_user_at_host(const char *s) KIV_NOEXCEPT;
KIV_API void print_dns_name(const char *s) KIV_NOEXCEPT;
KIV_API void print_inet_name(const char *s) KIV_NOEXCEPT;

/* Decimal; "0x" and hexadecimal; decimal of 64 bits. */
KIV_API char *print_integer_to_str(int32_t value) KIV_NOEXCEPT;
KIV_API void print_integer(int32_t value) KIV_NOEXCEPT;
KIV_API char *print_intx_to_str(uint32_t value) KIV_NOEXCEPT;
KIV_API void print_intx(uint32_t value) KIV_NOEXCEPT;
KIV_API char *print_u_long_long_to_str(int64_t value) KIV_NOEXCEPT;
KIV_API void print_u_long_long(int64_t value) KIV_NOEXCEPT;

/* "LOW - HIGH"; print_hex_range ends its line. */
KIV_API char *print_integer_range_to_str(const kiv_int_range *range) KIV_NOEXCEPT;
KIV_API void print_integer_range(const kiv_int_range *range) KIV_NOEXCEPT;
KIV_API void print_hex_range(const kiv_int_range *range) KIV_NOEXCEPT;

/* " LOW - HIGH" for each pair, "," between them. */
KIV_API void print_integer_multi_range(const kiv_int_multi_range *ranges) KIV_NOEXCEPT;
KIV_API void print_hex_multi_range(const kiv_int_multi_range *ranges) KIV_NOEXCEPT;

/* "0x" and two digits for each byte, in their order. */
KIV_API char *print_hex_to_str(const void *bytes, int32_t length) KIV_NOEXCEPT;
KIV_API void print_hex(const void *bytes, int32_t length) KIV_NOEXCEPT;

/* Addresses as inet_ntop (POSIX) writes them; print_inet_addr by the family, the others whatever
 * the family is. A prefix adds "/LENGTH". */
KIV_API char *print_ipv4_to_str(const kiv_inet_addr *address) KIV_NOEXCEPT;
KIV_API void print_ipv4(const kiv_inet_addr *address) KIV_NOEXCEPT;
KIV_API char *print_ipv6_to_str(const kiv_inet_addr *address) KIV_NOEXCEPT;
KIV_API void print_ipv6(const kiv_inet_addr *address) KIV_NOEXCEPT;
KIV_API char *print_inet_addr_to_str(const kiv_inet_addr *address) KIV_NOEXCEPT;
KIV_API void print_inet_addr(const kiv_inet_addr *address) KIV_NOEXCEPT;
KIV_API char *print_ipv4_prefix_to_str(const kiv_inet_prefix *prefix) KIV_NOEXCEPT;
KIV_API void print_ipv4_prefix(const kiv_inet_prefix *prefix) KIV_NOEXCEPT;
KIV_API char *print_ipv6_prefix_to_str(const kiv_inet_prefix *prefix) KIV_NOEXCEPT;
KIV_API void print_ipv6_prefix(const kiv_inet_prefix *prefix) KIV_NOEXCEPT;

/* An IPv4 address in network byte order. */
KIV_API char *print_ip_to_str(uint32_t address) KIV_NOEXCEPT;
KIV_API void print_ip(uint32_t address) KIV_NOEXCEPT;

/* "FIRST:SECOND". */
KIV_API char *print_community_to_str(const kiv_community *community) KIV_NOEXCEPT;
KIV_API void print_community(const kiv_community *community) KIV_NOEXCEPT;

/* A link identifier of eight bytes: three groups of 16 bits, big-endian, and two bytes in decimal.
 */
KIV_API char *print_type_lid_to_str(const uint8_t *lid) KIV_NOEXCEPT;
KIV_API void print_type_lid(const uint8_t *lid) KIV_NOEXCEPT;

/* A network address: the first byte, groups of two bytes, and the last byte, "." between them.
 * Where the bytes in the middle are odd in number, the last of them stands alone. */
KIV_API char *print_type_net_to_str(const uint8_t *bytes, int32_t length) KIV_NOEXCEPT;
KIV_API void print_type_net(const uint8_t *bytes, int32_t length) KIV_NOEXCEPT;

/* Names of interfaces belong to a service that this library does not have: the functions that make
 * a text print a line "NAME: modified/stubbed!" with their own name, and the text is empty, or for
 * a range list the " , " between its entries, of which it has KIV_INTERFACE_RANGES at most. */
KIV_API char *print_interface_to_str(const kiv_interface *intf) KIV_NOEXCEPT;
KIV_API void print_interface(const kiv_interface *intf) KIV_NOEXCEPT;
KIV_API char *print_interface_range_to_str(const kiv_interface_range *ranges) KIV_NOEXCEPT;
KIV_API void print_interface_range(const kiv_interface_range *ranges) KIV_NOEXCEPT;

/* "{8-4-4-4-12}" digits. */
KIV_API void print_guid(const kiv_guid *guid) KIV_NOEXCEPT;

/* A line with the length, and one with the indices in hexadecimal. */
KIV_API void print_if_index_list(const kiv_if_index_list *list) KIV_NOEXCEPT;

/* Print an argument with its token id, or a whole record with its arguments; nothing for null. The
 * record's virtual SANs go through kiv_print_vsan_mask, which asserts the size of the mask, and may
 * be captured. */
KIV_API void print_pinfo_arg(const struct param_arg *arg) KIV_NOEXCEPT;
KIV_API void print_pinfo(const struct pinfo *pinfo) KIV_NOEXCEPT;

/* -- URI information ------------------------------------------------------ */

/* The location of a file. All strings end with NUL. */
struct uri_info {
    uint32_t type; /* of the scheme; 0: unknown */
    char scheme[32];
    char user[32];
    char password[32];
    char server[64];        /* host name: prefix and name where it was given in pieces */
    char server_prefix[64]; /* empty after parsing */
    int32_t port;           /* 0: none */
    char path[256];
};

/* The schemes that are the shell's own. */
typedef struct kiv_scheme_map {
    uint32_t type;
    char scheme[32];
} kiv_scheme_map;

#define KIV_SCHEMES 3
extern KIV_API const kiv_scheme_map kiv_scheme_map_table[KIV_SCHEMES];

/* Parses a URI, which must have a scheme, into the record; kiv/platform/uriparse.h says how it is
 * read. The type is the system's, 0 for a scheme that the system does not know, also for one of
 * kiv_scheme_map_table. A component too long for its field is cut,
 * which the result does not show. Returns 0, or the parser's error
 * with the record unchanged. */
KIV_API int kiv_xml_parse_uri(struct uri_info *uri_info, const char *uri_text) KIV_NOEXCEPT;

/* Fills the record from its pieces, null for an empty one: scheme, user and password of at most 30
 * characters, prefix and name of the server of 62 each and 63 together, and a path of 254, in front
 * of which a "/" is put where it has none, also where it is empty but not null. What is longer is
 * cut. The pieces may be strings of the record itself. A scheme that the system does not know has
 * the type of kiv_scheme_map_table; a null scheme fails that function's assertion. Returns 0. */
KIV_API int kiv_uri_info_populate(struct uri_info *uri_info, const char *scheme, const char *user,
                                  const char *password, const char *server_prefix,
                                  const char *server_name, int32_t port,
                                  const char *path) KIV_NOEXCEPT;

/* Populates a record from another one, whose server is the new server name, without a prefix: an
 * empty path becomes "/". The destination comes first, and may be the source. Returns 0. */
KIV_API int kiv_uri_info_copy(struct uri_info *dest_uri_info,
                              const struct uri_info *src_uri_info) KIV_NOEXCEPT;

/* Prints what is set, but never the password, on standard output, without an end of line. Returns
 * 0. */
KIV_API int kiv_uri_info_print(const struct uri_info *uri_info) KIV_NOEXCEPT;

/* The type of a scheme in kiv_scheme_map_table, letters of either case alike, or 0; and the scheme
 * of a type, constant, or null. */
KIV_API uint32_t kiv_get_uri_type_from_scheme(const char *scheme) KIV_NOEXCEPT;
KIV_API const char *kiv_get_scheme_from_uri_type(uint32_t type) KIV_NOEXCEPT;

/* -- State of the shell's process ----------------------------------------- */

/* Counts the internal commands while configuration text is generated: init sets the counter to 0
 * and the start/stop flag to 1, punch adds 1. */
KIV_API void kiv_asciigen_internal_cmd_init(void) KIV_NOEXCEPT;
KIV_API void kiv_asciigen_internal_cmd_punch(void) KIV_NOEXCEPT;
KIV_API int32_t kiv_asciigen_internal_cmd_count_get(void) KIV_NOEXCEPT;
KIV_API int32_t kiv_asciigen_internal_start_stop_get(void) KIV_NOEXCEPT;

/* The root of the tree in force. The library only holds the pointer. */
KIV_API void kiv_parse_tree_root_set(void *root) KIV_NOEXCEPT;
KIV_API void *kiv_parse_tree_root_get(void) KIV_NOEXCEPT;

/* The value that stands for the history of sub-mode commands, as it was given. */
extern KIV_API void *kiv_submode_cmd_history;
KIV_API void kiv_submode_cmd_history_init(void *value) KIV_NOEXCEPT;
KIV_API void *kiv_get_submode_cmd_history(void) KIV_NOEXCEPT;

/* The debug filter, one bit for each kind of trace. */
#define KIV_DEBUG_ALL 0x7FFFFFFFU

extern KIV_API uint32_t kiv_lib_debug_filter;
KIV_API void kiv_lib_debug_filter_set(uint32_t value) KIV_NOEXCEPT;
KIV_API uint32_t kiv_lib_debug_filter_get(void) KIV_NOEXCEPT;

/* Prints "kiv STR is on" where filter and bits have one in common. */
KIV_API void kiv_lib_debug_filter_value_print(const char *str, uint32_t filter,
                                              uint32_t bits) KIV_NOEXCEPT;

/* Prints every trace that is on; nothing where none is. */
KIV_API void kiv_lib_debug_filter_print(void) KIV_NOEXCEPT;

/* -- Messages and notices ------------------------------------------------- */

/* What the user was waiting for: a command without effects, or one of several that change
 * something. Any other kind fails the assertion "0". */
enum kiv_timeout_kind {
    KIV_TIMEOUT_QUERY = 1,
    KIV_TIMEOUT_CHANGE = 2, /* and the kinds up to */
    KIV_TIMEOUT_LAST = 6
};

KIV_API void kiv_print_communication_failure_message(void) KIV_NOEXCEPT;
KIV_API void kiv_print_timeout_message(int32_t kind) KIV_NOEXCEPT;

/* Prints the message of an errno value (POSIX) of the message transport: EPIPE is a communication
 * failure, ETIME a time-out of this kind; any other is reported on standard error, with the text of
 * errno as it stands. Returns 0. */
KIV_API int kiv_print_ovra_error_message(int32_t kind, int32_t error) KIV_NOEXCEPT;

/* Makes standard output unbuffered, and writes the message with its NUL to the terminal of standard
 * input, if there is one. Returns 0. */
KIV_API int display_terminal(const char *message) KIV_NOEXCEPT;

/* Has the system's command interpreter write the message to /dev/TTY; it interprets the message.
 * Returns the raw wait status, or -1 with nothing run where the command is longer than
 * KIV_NOTICE_COMMAND_SIZE allows. */
#define KIV_NOTICE_COMMAND_SIZE 1024
KIV_API int notify_session(const char *tty, const char *message) KIV_NOEXCEPT;

/* Notifies the console ttyS0, and pts/0 to pts/31. */
KIV_API void kiv_notify_cli_sessions(const char *message) KIV_NOEXCEPT;

/* Appends the text to the file. Returns 0, also where it cannot. */
KIV_API int kiv_log_mesg_to_file(const char *path, const char *str) KIV_NOEXCEPT;

/* Removes the file. Returns 0, or -1 with errno. */
KIV_API int kiv_log_file_clear(const char *path) KIV_NOEXCEPT;

/* -- Questions to the user ------------------------------------------------ */

#define KIV_USER_INPUT_MAX 256

typedef struct kiv_user_input_info {
    const char *prompt;
    const char *default_input; /* what an empty line stands for */
    int32_t reserved1;
    int32_t max_len; /* room for the answer with its NUL: 2 to KIV_USER_INPUT_MAX */
    int32_t timeout; /* seconds to wait for input before it is read; 0: no limit */
    int (*validator)(const char *line); /* 1 accepts the line; null: any line */
    int32_t reserved2;
    int32_t debug; /* bool: print what happens */
} kiv_user_input_info;

/* Prompts for a line on standard input until there is one that is short enough and accepted, and
 * stores it, or the default for an empty one and at the end of the input. The time-out only bounds
 * the wait before the line is read. Asserts info, prompt, default and max_len > 1. Returns 0, or
 * 0x40540001 with nothing read where max_len is too large. */
KIV_API uint32_t kiv_user_input_get(const kiv_user_input_info *info, char *output) KIV_NOEXCEPT;

/* Returns the value, but 0 for -1. */
KIV_API int32_t kiv_get_timeout_user_value(int32_t value) KIV_NOEXCEPT;

/* Lowers every character in place, as tolower (C11 7.4.2.1). */
KIV_API void kiv_convert_str_to_lower_case(char *str) KIV_NOEXCEPT;

/* Returns the microseconds of the current hour of the wall clock, wrapped to 32 bits from about
 * 2147 seconds on; -1 where there is no clock. */
KIV_API int32_t kiv_time(void) KIV_NOEXCEPT;

/* -- Virtual SANs --------------------------------------------------------- */

/* Returns 1 where the user with this mask may act on the virtual SAN, or on all from first to last
 * of the range (also an empty one), else 0. */
KIV_API int kiv_is_vsan_allowed(const bmask4096 *vsan_mask, uint32_t vsan) KIV_NOEXCEPT;
KIV_API int kiv_is_vsan_range_allowed(const bmask4096 *vsan_mask,
                                      const kiv_int_range *vsan_range) KIV_NOEXCEPT;

/* Returns 1 where there is a virtual SAN on which the user may not act, else 0. */
KIV_API int kiv_is_user_vsan_restricted(const bmask4096 *vsan_mask) KIV_NOEXCEPT;

/* Prints a line with the permitted virtual SANs through kiv_buf_printf. */
KIV_API void kiv_print_vsan_mask(const bmask4096 *vsan_mask) KIV_NOEXCEPT;

/* -- Interface types ------------------------------------------------------ */

/* Returns 1 for the types 1, 4, 16 and 64, which belong to virtual SANs, else 0. */
KIV_API int kiv_is_interface_type_per_vsan(uint32_t type) KIV_NOEXCEPT;

/* Not known to this library: says so and returns 1. */
KIV_API int kiv_is_interface_type_restricted(void) KIV_NOEXCEPT;

#define KIV_INTF_HELP_FIELDS 5

typedef struct kiv_intf_field_help_info {
    char name[64];
    int32_t minimum;
    int32_t maximum;
} kiv_intf_field_help_info;

/* How the name of an interface of some type is written: its fields and their limits. */
typedef struct kiv_intf_help_info {
    kiv_intf_field_help_info fields[KIV_INTF_HELP_FIELDS];
    char help_str[64];
    int32_t field_count;
} kiv_intf_help_info;

/* Makes a record without fields; a help text is cut to its room. Returns 0. */
KIV_API int kiv_intf_help_info_reset(kiv_intf_help_info *info, const char *help_str) KIV_NOEXCEPT;

/* Adds a field. Returns 0, or -1 with nothing changed where there are five, or the count is none.
 */
KIV_API int kiv_intf_help_info_add(kiv_intf_help_info *info, const char *name, int32_t min,
                                   int32_t max) KIV_NOEXCEPT;

/* Copies `src`, of which null is an empty record; the source comes first. Returns 0, or -1 for a
 * null destination. */
KIV_API int kiv_intf_help_info_copy(const kiv_intf_help_info *src,
                                    kiv_intf_help_info *dest) KIV_NOEXCEPT;

/* Print a field, or the whole record. kiv_intf_help_info_show returns 0, or -1 for null. */
KIV_API void
kiv_intf_field_help_info_show(const kiv_intf_field_help_info *intf_field_help_info) KIV_NOEXCEPT;
KIV_API int kiv_intf_help_info_show(const kiv_intf_help_info *info) KIV_NOEXCEPT;

KIV_EXTERN_C_END

#endif
