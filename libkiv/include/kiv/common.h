/*
 * common.h - the compiled command tree and the bounded strings.
 *
 * A parse tree in its array form is a plain sequence of kiv_array_tree_node
 * records: node i starts at byte i * 1000, node 0 is the root, and nodes name
 * their children by index. It is the content of a parse-tree file, as it is.
 */
#ifndef KIV_COMMON_H
#define KIV_COMMON_H

#include <kiv/bmp_template.h>
#include <kiv/byte_order.h>
#include <kiv/kiv.h>

KIV_EXTERN_C_BEGIN

/* A walk that comes to this depth (the root is at depth 0) has left every
 * tree that is allowed. */
#define KIV_TREE_MAX_DEPTH 31
#define KIV_NODE_MAX_CHILDREN 192
#define KIV_NODE_MAX_PARAMETERS 2

/* Types of arguments. Bit 30 marks a structured type; bits 20-23 are the group (bits 14-23 of a
 * structured type); the low bits select the member.
 *
 * X(name, code, bounds, label, value): how a tree bounds the type (absent: not in trees), and the
 * label and value that print_pinfo_arg shows. The values are:
 *   none                      no value
 *   labelled_string           a string, in the place of %s at the end of the label
 *   dns_name, user_at_host, inet_name   a string
 *   uri                       uri_info
 *   ip                        a 32-bit IPv4 address in network byte order
 *   ipv4, ipv6, ipv4_or_v6    kiv_inet_addr; the last read by the subtype of the argument
 *   integer, intx             int32_t, uint32_t
 *   integer_range, hex_range  kiv_int_range
 *   integer_multi_range, hex_multi_range   kiv_int_multi_range
 *   interface, interface_range   kiv_interface, kiv_interface_range; the argument's mask follows
 *   hex_4, hex_6, hex_8       so many bytes
 *   guid, community           kiv_guid, kiv_community
 * The records are in kiv/kiv_lib.h, and so are the printers of the values. */
#define KIV_PARAMETER_TYPE_TABLE(X)                                                                \
    X(TYPE_NONE, 0x00000000, absent, "None :", none)                                               \
    X(TYPE_STRING, 0x00000001, length, "String : %s", labelled_string)                             \
    X(TYPE_LINE, 0x00000002, none, "Line : %s", labelled_string)                                   \
    X(TYPE_URI, 0x00000004, schemes, "URI:", uri)                                                  \
    X(TYPE_DNS_NAME, 0x00000008, none, "DNS name:", dns_name)                                      \
    X(TYPE_USERATHOST, 0x00000010, none, "user@host:", user_at_host)                               \
    X(TYPE_IP, 0x40000001, none, "IP :", ip)                                                       \
    X(TYPE_IPV4, 0x40000002, none, "IPv4 address:", ipv4)                                          \
    X(TYPE_IPV6, 0x40000004, none, "IPv6 address:", ipv6)                                          \
    X(TYPE_IPV4_OR_V6, 0x40000006, absent, "IPv4 OR v6", ipv4_or_v6)                               \
    X(TYPE_INET_NAME, 0x40000008, none, "INET name:", inet_name)                                   \
    X(TYPE_INT, 0x40100001, decimal, "Integer :", integer)                                         \
    X(TYPE_INT_RANGE, 0x40100002, decimal, "Integer Range :", integer_range)                       \
    X(TYPE_HEX, 0x40100004, hexadecimal, "Hex :", intx)                                            \
    X(TYPE_INT_MULTI_RANGE, 0x40100008, decimal, "Int Multi Range:", integer_multi_range)          \
    X(TYPE_HEX_RANGE, 0x40100010, hexadecimal, "Hex Range:", hex_range)                            \
    X(TYPE_HEX_MULTI_RANGE, 0x40100080, hexadecimal, "Hex Range:", hex_multi_range)                \
    X(TYPE_INTERFACE, 0x40200001, interfaces, "Ifindex:", interface)                               \
    X(TYPE_INTERFACE_RANGE, 0x40200002, interfaces, "Ifindex Range :", interface_range)            \
    X(TYPE_MAC, 0x40300001, none, "MAC :", hex_6)                                                  \
    X(TYPE_WWN, 0x40300002, none, "WWN :", hex_8)                                                  \
    X(TYPE_LUN, 0x40300004, none, "Lun :", hex_8)                                                  \
    X(TYPE_VSAN, 0x40400001, none, "Vsan:", integer)                                               \
    X(TYPE_VSAN_RANGE, 0x40400002, none, "Vsan Range:", integer_range)                             \
    X(TYPE_VSAN_MULTI_RANGE, 0x40400004, decimal, "Vsan Multi Range:", integer_multi_range)        \
    X(TYPE_GUID, 0x40500001, none, "GUID:", guid)                                                  \
    X(TYPE_FC_ID, 0x40600001, none, "Fcid :", hex_4)                                               \
    X(TYPE_COMMUNITY, 0x40700001, absent, "Community:", community)

#define KIV_PARAMETER_TYPE_ENUMERATOR(name, code, bounds, label, value) name = code,
enum kiv_parameter_type { KIV_PARAMETER_TYPE_TABLE(KIV_PARAMETER_TYPE_ENUMERATOR) };
#undef KIV_PARAMETER_TYPE_ENUMERATOR

#define KIV_TYPE_STRUCTURED 0x40000000U
#define KIV_TYPE_GROUP_MASK 0x00F00000U
#define KIV_TYPE_STRUCTURED_GROUP_MASK 0x00FFC000U

/* An argument that a node accepts: 100 bytes. */
typedef struct kiv_parameter {
    kiv_be32 type;      /* enum kiv_parameter_type */
    kiv_be64 type_mask; /* interface types: which may be named */
    char help[64];
    kiv_be32 minimum; /* signed lower bound; TYPE_STRING: maximum length;
                         TYPE_URI: mask of schemes */
    kiv_be32 maximum; /* signed upper bound */
    kiv_be32 subtype; /* 0: a plain range; else a named set of values */
    uint8_t reserved[12];
} kiv_parameter;

/* Flags in kiv_array_tree_node.action. */
#define KIV_ACTION_TERMINAL 0x4U /* a complete command ends here */
#define KIV_ACTION_SUBMODE 0x8U  /* the command enters a sub-mode */

/* A keyword or argument position: 1000 bytes. An empty string is one that is
 * not set. */
typedef struct kiv_array_tree_node {
    char node_name[64];
    char token[32];
    char help[64];
    char submode_help[32];
    char submode_prompt[16];
    char func_id[48];
    char module_id[24];
    char subtree_config_generator[48];
    kiv_be16 optional;
    kiv_be16 cmi_msg_type;
    kiv_be32 action;
    kiv_be32 token_id;
    kiv_be32 command_id;
    uint8_t permissions_mask[KIV_BMP_SIZE(KIV_PERMISSIONS_BITS)]; /* bit array: role i may use it */
    kiv_parameter parameters[KIV_NODE_MAX_PARAMETERS];
    kiv_be16 internal_func_id;
    kiv_be16 parameter_count;
    kiv_be16 asciigen_priority;
    kiv_be16 child_count;
    kiv_be16 children[KIV_NODE_MAX_CHILDREN];                 /* node indices */
    uint8_t childlist_mask[KIV_BMP_SIZE(KIV_CHILDLIST_BITS)]; /* bit array: child i is a link */
    kiv_be64 interface_mask;
    uint8_t reserved[8];
} kiv_array_tree_node;

/* The pointer form of a tree, in memory only, as a tree generator builds it
 * before it is made flat. */
typedef struct kiv_ptr_tree_name {
    char name[64];
    struct kiv_ptr_tree_name *next;
} kiv_ptr_tree_name;

typedef struct kiv_ptr_tree_child {
    struct kiv_ptr_tree_child *next;
    struct kiv_ptr_tree_node *node;
} kiv_ptr_tree_child;

typedef struct kiv_ptr_tree_node {
    char *node_name;
    char *token;
    char *help;
    char *func_id;
    char *module_id;
    int32_t array_index; /* index of the node in the array form */
    kiv_ptr_tree_name *names;
    kiv_ptr_tree_child *children;
} kiv_ptr_tree_node;

/* Header of a contributed subtree. Nothing reads its content. */
typedef struct kiv_subtree_header {
    uint8_t reserved[16];
} kiv_subtree_header;

/* -- Byte order ---------------------------------------------------------- */

/* Joins two register words: the result has the low 32 bits of `hi` above the
 * low 32 bits of `lo`. */
KIV_API uint64_t kiv_get_param_type_from_mask(uint64_t lo, uint64_t hi) KIV_NOEXCEPT;

/* Convert one record in place between network and host order. The records are
 * big-endian in both, so nothing changes. */
KIV_API void ntoh_subtree_header(kiv_subtree_header *header) KIV_NOEXCEPT;
KIV_API void hton_subtree_header(kiv_subtree_header *header) KIV_NOEXCEPT;
KIV_API void ntoh_parameter(kiv_parameter *param) KIV_NOEXCEPT;
KIV_API void hton_parameter(kiv_parameter *param) KIV_NOEXCEPT;

/* Convert the subtree that starts at node `index` in place; links are not
 * followed. `depth` is the depth of that node, 0 for the root. A null tree is
 * left alone. The tree is trusted: check one that comes from a file first
 * (kiv_tree_check). Ends the process with status -1 and a message on standard
 * error where a node is at KIV_TREE_MAX_DEPTH or deeper; what has been
 * converted by then stays so. hton_array_tree converts the child counts too,
 * ntoh_array_tree only the parameter counts. */
KIV_API void ntoh_array_tree(kiv_array_tree_node *tree, int32_t index, int32_t depth) KIV_NOEXCEPT;
KIV_API void hton_array_tree(kiv_array_tree_node *tree, int32_t index, int32_t depth) KIV_NOEXCEPT;

/* Returns 1 if the tree below node `index`, links followed, reaches
 * KIV_TREE_MAX_DEPTH, as any cycle does; else 0. A null tree gives 0. */
KIV_API int cycle_check(const kiv_array_tree_node *tree, int32_t index, int32_t depth) KIV_NOEXCEPT;

/* Add the bits that are set in `value` to the mask, bit for bit; what the mask
 * holds stays. Return 0. */
KIV_API int bmask128_uint64_copy(bmask128 *mask, uint64_t value) KIV_NOEXCEPT;
KIV_API int bmask128_uint32_copy(bmask128 *mask, uint32_t value) KIV_NOEXCEPT;

/* Order two nodes by their tokens, letters of either case alike: negative, 0 or positive, as
 * robust_strcasecmp. Of the array form the tokens are the fields, of the pointer form the strings,
 * which may be null. */
KIV_API int treelink_lexicograph_cmp(const kiv_array_tree_node *a,
                                     const kiv_array_tree_node *b) KIV_NOEXCEPT;
KIV_API int treegen_lexicograph_cmp(const kiv_ptr_tree_node *a,
                                    const kiv_ptr_tree_node *b) KIV_NOEXCEPT;

/* -- Tree table: which module has contributed which tree ------------------ */

#define KIV_TREE_TABLE_CAPACITY 512

/* A contributed tree: 88 bytes. */
typedef struct kiv_tree_table_entry {
    char module_id[24];
    char par_file_name[64]; /* the key of searches */
} kiv_tree_table_entry;

/* One block, which may be sent or stored whole. Its owner allocates it and sets last_index to -1.
 * The entries 0 to last_index are in use, in the order in which they came. */
typedef struct kiv_tree_table {
    kiv_tree_table_entry entries[KIV_TREE_TABLE_CAPACITY];
    int32_t last_index;
} kiv_tree_table;

/* Where the configuration of a subtree is kept. */
typedef struct kiv_subtree_path {
    int32_t path_type;
    char location[256];
} kiv_subtree_path;

/* Stores both strings, cut to their fields and filled up with NUL; null gives an empty field. */
KIV_API void set_tree_table_entry(kiv_tree_table_entry *entry, const char *module_id,
                                  const char *par_file) KIV_NOEXCEPT;

/* Copies `src` to `dst`: the source comes first. */
KIV_API void copy_tree_table_entry(const kiv_tree_table_entry *src,
                                   kiv_tree_table_entry *dst) KIV_NOEXCEPT;

/* Returns the index of the first entry with exactly this file name, or -1; null is no name. */
KIV_API int32_t search_entry_in_tree_table(const kiv_tree_table *table,
                                           const char *par_file) KIV_NOEXCEPT;

/* Appends a copy of the entry, whether or not its name is there already. Returns 0, or -1 with
 * nothing changed where the table is full or its last_index is below -1. */
KIV_API int insert_entry_in_tree_table(kiv_tree_table *table,
                                       const kiv_tree_table_entry *entry) KIV_NOEXCEPT;

/* Moves the entries behind `index` down by one and takes one off last_index, also where `index` is
 * behind the last entry or the table is empty: check first. A negative index, the result of a
 * search that found nothing, changes nothing. Returns 0. */
KIV_API int delete_entry_from_tree_table(kiv_tree_table *table, int32_t index) KIV_NOEXCEPT;

/* Stores type and location, which is cut to its field; null gives an empty one. Returns 0. */
KIV_API int populate_subtree_path(kiv_subtree_path *path, int32_t type,
                                  const char *location) KIV_NOEXCEPT;

/* -- Dump: what a tree holds, in a fixed form on standard output ---------- */

/* Print "LABEL:VALUE ", or nothing for a string that is null or empty and for a number that is 0.
 * print_hex_value prints "LABEL:0x", the `n` bytes from the last to the first, and a space, always.
 */
KIV_API void print_str(const char *label, const char *s) KIV_NOEXCEPT;
KIV_API void print_int(const char *label, int32_t v) KIV_NOEXCEPT;
KIV_API void print_u_l_long(const char *label, int64_t v) KIV_NOEXCEPT;
KIV_API void print_hex_value(const char *label, const void *bytes, size_t n) KIV_NOEXCEPT;

/* Print the subtree from node `index`, or from `node`, a line for each node, indented by three or
 * by two spaces for each level from `depth` on. Links of the array form are named and not followed.
 * The tree is trusted: check one that comes from a file first (kiv_tree_check). Where a node is at
 * KIV_TREE_MAX_DEPTH or deeper, "Error: Cycle in parse tree or exceeded maximum depth" follows what
 * has been printed by then, and the process ends with status -1. A null tree prints nothing; for a
 * null node display_ptr_tree returns 1, otherwise 0. */
KIV_API void display_array_tree(const kiv_array_tree_node *tree, int32_t index,
                                int32_t depth) KIV_NOEXCEPT;
KIV_API int display_ptr_tree(const kiv_ptr_tree_node *node, int32_t depth) KIV_NOEXCEPT;

/* Print a parameter; the tokens of the children of a node; a path; all on one line, which only
 * displayPath ends. */
KIV_API void display_param(const kiv_parameter *param) KIV_NOEXCEPT;
KIV_API void displayChildren(const kiv_ptr_tree_node *node) KIV_NOEXCEPT;
KIV_API void displayPath(const kiv_subtree_path *path) KIV_NOEXCEPT;

/* Print `count` entries under a heading, or one entry; a null entry prints nothing. The number of
 * entries of a table is its last_index + 1. */
KIV_API void show_tree_table(const kiv_tree_table_entry *entries, int32_t count) KIV_NOEXCEPT;
KIV_API void show_tree_table_entry(const kiv_tree_table_entry *entry) KIV_NOEXCEPT;

/* -- Bounded strings: null is a legal argument everywhere ----------------- */

/* Returns the length of `s`, 0 for null. */
KIV_API size_t robust_strlen(const char *s) KIV_NOEXCEPT;

/* Copies `src` whole, without a bound; null gives an empty string. */
KIV_API void robust_strcpy(char *dst, const char *src) KIV_NOEXCEPT;

/* Copies at most `size` - 1 characters of `src` into the `size` bytes of
 * `dst`, fills up with NUL and terminates. A null `src` stores one NUL. A
 * `size` of 0, or one that was a negative number, does nothing. */
KIV_API void robust_strncpy(char *dst, const char *src, size_t size) KIV_NOEXCEPT;

/* Appends `src` to the string in `dst`, a buffer of `size` bytes, cut to what
 * fits. A null `src`, a `dst` that is full or longer, or a `size` that was a
 * negative number, changes nothing. */
KIV_API void robust_strncat(char *dst, const char *src, size_t size) KIV_NOEXCEPT;

/* Compares as strcasecmp (POSIX) does. A null `b` gives -1, else a null `a`
 * gives 1. */
KIV_API int robust_strcasecmp(const char *a, const char *b) KIV_NOEXCEPT;

/* Return the number at the start of `s`, 0 when there is none: hexadecimal
 * with or without "0x"; decimal; and in the base that its prefix tells, as
 * strtol (C11 7.22.1.4) with base 0. The 32-bit forms return the low 32 bits
 * of a number that is larger. */
KIV_API uint64_t convert_str_to_uint64(const char *s) KIV_NOEXCEPT;
KIV_API uint32_t convert_str_to_uint(const char *s) KIV_NOEXCEPT;
KIV_API int32_t convert_str_to_int(const char *s) KIV_NOEXCEPT;

/* Stores a heap copy of `src` without the spaces at its ends in `*out`, for the
 * caller to free, and returns its length. Where nothing is left, or memory
 * runs out, stores null and returns 0. Tabs and newlines stay. A `src` longer
 * than 1024 characters is trimmed too, after a warning on standard output. */
KIV_API int strtrim(const char *src, char **out) KIV_NOEXCEPT;

KIV_EXTERN_C_END

#endif
