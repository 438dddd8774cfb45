/*
 * kiv_process_api.h - what a process that contributes commands to the shell
 * says to the daemon kivd: its command trees, its interface types and changes of
 * its configuration; the table of interface types; and what a user may do on
 * interfaces and virtual SANs.
 *
 * A process registers once it has its message queue, and deregisters in the
 * opposite order when it leaves. The library remembers nothing of it.
 *
 * Messages are those of kiv/platform/ovra.h and kiv/platform/cmi.h. Requests
 * with an answer are bounded in time. A reply that is too short for what it
 * should hold, or has a count that cannot be, is a failure.
 */
#ifndef KIV_KIV_PROCESS_API_H
#define KIV_KIV_PROCESS_API_H

#include <kiv/bmp_template.h>
#include <kiv/kiv.h>
#include <kiv/kiv_lib.h>
#include <kiv/platform/ovra.h>

KIV_EXTERN_C_BEGIN

/* -- Records ---------------------------------------------------------------- */

/* An interface type: 608 bytes, as it travels. */
typedef struct kiv_interface_table_entry {
    uint64_t intf_mask; /* the bits of the type: the key of searches */
    char name[36];
    int32_t min_match_len; /* characters of the name that must be typed */
    int32_t format;
    char verify_func[48];  /* the routine that verifies an index of this type, */
    char listing_func[48]; /* the one that lists its interfaces, */
    char library_name[24]; /* and the shared library that has both */
    kiv_intf_help_info help_info;
    uint16_t ascii_gen_priority;
    uint8_t reserved[6]; /* 0 */
} kiv_interface_table_entry;

#define KIV_INTERFACE_TABLE_CAPACITY 24

/* One block, which may be sent or stored whole. Its owner sets last_index to -1. The entries 0 to
 * last_index are in use, in the order in which they came. */
typedef struct kiv_interface_table {
    kiv_interface_table_entry entries[KIV_INTERFACE_TABLE_CAPACITY];
    int32_t last_index;
} kiv_interface_table;

/* What a process says of an interface type. The strings stay the caller's. */
typedef struct intf_reg_info {
    const char *name;
    int32_t min_match_len;
    int32_t format;
    const char *verify_func;
    const char *listing_func;
    const char *library_name;
    const kiv_intf_help_info *help_info; /* null: none */
    uint16_t ascii_gen_priority;
} intf_reg_info;

/* Kinds and operation that change what kiv_fc_intf_perm_check tests. */
#define KIV_INTF_KIND_TYPED 4
#define KIV_INTF_KIND_VSAN_SET 8
#define KIV_INTF_OPERATION_SHOW 3

/* A question about virtual SANs. */
typedef struct fc_intf_perm_req {
    const bmask4096 *user_vsan_mask; /* where the user may act */
    uint32_t reserved;
    int32_t first_kind;
    int32_t second_kind;
    uint32_t vsan_id;          /* the one to test */
    const bmask4096 *vsan_set; /* or those to test; may be null where they are not tested */
    int32_t operation;
} fc_intf_perm_req;

/* -- Registration ----------------------------------------------------------- */

/* Announce a tree, by the name of its file in at most 23 characters, or withdraw it. `client` tells
 * the daemon who asks; it is passed on as it is. Wait up to 20 seconds. Return 0, the daemon's
 * status, or for a transport failure KIV_ERROR_TRANSPORT with the low 12 bits of errno. */
KIV_API int kiv_register_parse_tree(uint32_t client, const char *tree_name) KIV_NOEXCEPT;
KIV_API int kiv_deregister_parse_tree(uint32_t client, const char *tree_name) KIV_NOEXCEPT;

/* Announces an interface type over the queue, one way. Returns 0 when the transport has taken it,
 * or its negative result, with a message on standard output. */
KIV_API int kiv_register_interface(int ovra_queue, uint64_t intf_mask,
                                   const intf_reg_info *reg_info) KIV_NOEXCEPT;

/* The same without help information and with priority 0. The argument before the last is not
 * looked at. */
KIV_API int kiv_register_interface2(int ovra_queue, uint64_t intf_mask, const char *name,
                                    int32_t min_match_len, int32_t format, const char *verify_func,
                                    const char *listing_func, const char *unused,
                                    const char *library_name) KIV_NOEXCEPT;

/* Withdraws the type with this mask; result and message as above. */
KIV_API int kiv_deregister_interface(int ovra_queue, uint64_t intf_mask) KIV_NOEXCEPT;

/* Stores all but the priority, which stays as it is. Returns 0, or -1 for a null record. */
KIV_API int kiv_set_intf_reg_info(intf_reg_info *reg_info, const char *name, int32_t min_match_len,
                                  int32_t format, const char *verify_func, const char *listing_func,
                                  const char *library_name,
                                  const kiv_intf_help_info *help_info) KIV_NOEXCEPT;

/* Sets the options to 0 but for the version and the word with the priority, which stay. */
KIV_API void populate_ovra_send_options(ovra_send_options *opts) KIV_NOEXCEPT;

/* Tells the system that the configuration has changed. Returns 0, or for a transport failure
 * KIV_ERROR_TRANSPORT with the low 12 bits of errno. */
KIV_API int kiv_config_change_notify(int ovra_queue) KIV_NOEXCEPT;

/* The same from a command handler, over its requester's queue, unless configuration is being
 * generated for one virtual SAN. Returns 0, also when it could not be sent: a handler never fails
 * because of it. */
KIV_API int kiv_api_notify_cfg_change(const struct pinfo *pinfo) KIV_NOEXCEPT;

/* -- Table of interface types ----------------------------------------------- */

/* Stores all fields; strings are cut to theirs, null ones are empty, null help is empty. */
KIV_API void set_interface_table_entry(kiv_interface_table_entry *entry, uint64_t intf_mask,
                                       const char *name, int32_t min_match_len, int32_t format,
                                       const char *verify_func, const char *listing_func,
                                       const char *library_name,
                                       const kiv_intf_help_info *help_info,
                                       uint16_t ascii_gen_priority) KIV_NOEXCEPT;

/* Copies `src` to `dst`: the source comes first. */
KIV_API void copy_interface_table_entry(const kiv_interface_table_entry *src,
                                        kiv_interface_table_entry *dst) KIV_NOEXCEPT;

/* Print an entry, nothing for null, or `count` of them in a frame, on standard output. */
KIV_API void show_interface_table_entry(const kiv_interface_table_entry *entry) KIV_NOEXCEPT;
KIV_API void show_interface_table(const kiv_interface_table_entry *entries,
                                  int32_t count) KIV_NOEXCEPT;

/* Returns the index of the first entry with exactly this mask, or -1. A last_index beyond the table
 * counts as its end. */
KIV_API int32_t search_entry_in_interface_table(const kiv_interface_table *table,
                                                uint64_t intf_mask) KIV_NOEXCEPT;

/* Appends a copy. Looks neither for duplicates nor for room: callers check both before. Returns 0.
 */
KIV_API int insert_entry_in_interface_table(kiv_interface_table *table,
                                            const kiv_interface_table_entry *entry) KIV_NOEXCEPT;

/* Moves the entries behind `position` down by one and takes one off last_index, also where
 * `position` is behind the last entry or the table is empty: check first. A negative position
 * changes nothing. Returns 0. */
KIV_API int delete_entry_from_interface_table(kiv_interface_table *table,
                                              int32_t position) KIV_NOEXCEPT;

/* Looks for the mask in the entries 0 to `last_index`, and stores where it is. Returns 0, or
 * KIV_ERROR_INTERFACE_UNKNOWN with nothing stored. Asserts "interface_table_p" and "position_p". */
KIV_API int kivd_interface_table_search(const kiv_interface_table *interface_table_p,
                                        int32_t last_index, uint64_t intf_mask,
                                        int32_t *position_p) KIV_NOEXCEPT;

/* Asks the daemon for its table over the queue, 10 seconds at most. Returns the number of entries
 * and stores them as an array on the heap, which the caller frees, also an empty one; or -1 with
 * nothing stored, and with a message on standard output when no answer came. */
KIV_API int kivd_interface_table_get(int ovra_queue,
                                     kiv_interface_table_entry **table_out) KIV_NOEXCEPT;

/* -- Permissions ------------------------------------------------------------ */

/* Return 1 (allowed) or 0 (denied). Masks assert their size, as bmp_template does. */

/* A user who is not restricted to some virtual SANs may do anything; another one may show, and act
 * on types 1 and 8. Only the low 8 bits of the type count. */
KIV_API int kiv_intf_type_perm_check(const bmask4096 *user_vsan_mask, uint32_t intf_type,
                                     int32_t operation) KIV_NOEXCEPT;

/* Answer for one interface: a restricted user is always denied, with a line on standard output that
 * says that the check is a stub; before it, a trace of bit 0 of the debug filter. */
KIV_API int kiv_is_interface_config_allowed(const void *unused, const bmask4096 *user_vsan_mask,
                                            uint32_t ifindex) KIV_NOEXCEPT;
KIV_API int kiv_is_interface_display_allowed(const void *unused, const bmask4096 *user_vsan_mask,
                                             uint32_t ifindex) KIV_NOEXCEPT;

/* A user who is not restricted may do anything. Of another one, a request with one of the kinds
 * above is denied unless it is to show; to show with a set, one virtual SAN of the set must be the
 * user's; everything else asks for the single one. */
KIV_API int kiv_fc_intf_perm_check(const fc_intf_perm_req *req) KIV_NOEXCEPT;

KIV_EXTERN_C_END

#endif
