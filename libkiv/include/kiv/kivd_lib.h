/*
 * kivd_lib.h - the daemon's roles and their rules, with the texts made from
 * them; and the daemon's tables and settings, as its clients ask for them and
 * change them.
 *
 * Null records fail the assertion that names the parameter. Texts go to a
 * buffer of the caller, whose size the function's comment gives.
 */
#ifndef KIV_KIVD_LIB_H
#define KIV_KIVD_LIB_H

#include <kiv/bmp_template.h>
#include <kiv/common.h>
#include <kiv/kiv.h>

KIV_EXTERN_C_BEGIN

/* -- Roles: records --------------------------------------------------------- */

/* All travel in the byte order of the host. */

#define KIVD_ROLE_NAME_SIZE 32
#define KIVD_ROLE_DESCRIPTION_SIZE 65
#define KIVD_ROLE_RULES 16

enum kivd_rule_type { KIVD_RULE_PERMIT = 1, KIVD_RULE_DENY = 2 };

enum kivd_command_type {
    KIVD_COMMAND_CLEAR = 1,
    KIVD_COMMAND_CONFIG = 2,
    KIVD_COMMAND_DEBUG = 3,
    KIVD_COMMAND_SHOW = 4,
    KIVD_COMMAND_EXEC = 5
};

/* A rule: 48 bytes. */
typedef struct kivd_perm_group_conf_entry {
    int32_t rule_type;    /* enum kivd_rule_type */
    int32_t command_type; /* enum kivd_command_type */
    char feature[32];
    int32_t all_features; /* 1: of every feature, whatever `feature` says */
    int32_t slot_state;   /* 0: this place of a role holds a rule */
} kivd_perm_group_conf_entry;

/* A role: 876 bytes. Rule n is in place n - 1. Places from rule_count on are not looked at, those
 * below may be empty. */
typedef struct kivd_perm_group {
    char description[KIVD_ROLE_DESCRIPTION_SIZE];
    kivd_perm_group_conf_entry rules[KIVD_ROLE_RULES];
    char name[KIVD_ROLE_NAME_SIZE];
    int32_t rule_count;
    int32_t valid; /* 1: this entry of a table is in use */
} kivd_perm_group;

/* A role that cannot be changed. */
typedef struct kivd_static_perm_group {
    char name[KIVD_ROLE_NAME_SIZE];
    char description[KIVD_ROLE_DESCRIPTION_SIZE];
    char detail[KIVD_ROLE_DESCRIPTION_SIZE];
    int32_t valid;
} kivd_static_perm_group;

/* What a change of a role is about: a rule, the permitted virtual SANs, or their policy. */
enum kivd_role_change {
    KIVD_ROLE_CHANGE_RULE = 0,
    KIVD_ROLE_CHANGE_VSAN_LIST = 1,
    KIVD_ROLE_CHANGE_VSAN_POLICY = 2
};

/* One change of a role: 880 bytes, of which the daemon reads the first 676. */
typedef struct kivd_perm_group_conf_cli_wrapper {
    int32_t kind; /* enum kivd_role_change */
    int32_t rule_num;
    kivd_perm_group_conf_entry rule;
    int32_t no_flag; /* 1: delete, or back to the default */
    char role_name[KIVD_ROLE_NAME_SIZE];
    char description[KIVD_ROLE_DESCRIPTION_SIZE];
    bmask4096 vsans;
    uint8_t reserved[204]; /* 0 */
} kivd_perm_group_conf_cli_wrapper;

/* The messages that change roles. */
enum kivd_role_message {
    KIVD_ROLE_MESSAGE_RULE = 911,
    KIVD_ROLE_MESSAGE_DESCRIPTION = 913,
    KIVD_ROLE_MESSAGE_NAME = 919
};

/* The predefined roles. */
#define KIVD_STATIC_ROLES 4
extern KIV_API const kivd_static_perm_group kivd_static_perm_group_table[KIVD_STATIC_ROLES];
extern KIV_API const int32_t kivd_static_perm_group_table_size;

/* -- Roles: rules and changes ------------------------------------------------ */

/* Stores the four values, the feature cut to its field; the state of the place stays. Returns 0. */
KIV_API int kivd_perm_group_conf_entry_populate(kivd_perm_group_conf_entry *entry,
                                                int32_t rule_type, int32_t command_type,
                                                const char *feature,
                                                int32_t all_features) KIV_NOEXCEPT;

/* Populates the destination, which comes first, from the source. Returns 0. */
KIV_API int
kivd_perm_group_conf_entry_copy(kivd_perm_group_conf_entry *dest_entry,
                                const kivd_perm_group_conf_entry *src_entry) KIV_NOEXCEPT;

/* Makes the set of virtual SANs empty; everything else stays as it is. */
KIV_API void
kivd_perm_group_conf_cli_wrapper_init(kivd_perm_group_conf_cli_wrapper *wrapper) KIV_NOEXCEPT;

/* -- Roles: lookups ---------------------------------------------------------- */

/* Return the index of the first valid entry among `count` with exactly this name, letters of
 * either case different, or -1. The first two are the same. */
KIV_API int32_t kivd_perm_group_locate_entry_by_name(const kivd_perm_group *table, int32_t count,
                                                     const char *name) KIV_NOEXCEPT;
KIV_API int32_t kivd_perm_group_locate_case_sensitive_entry_by_name(const kivd_perm_group *table,
                                                                    int32_t count,
                                                                    const char *name) KIV_NOEXCEPT;
KIV_API int32_t kivd_static_perm_group_locate_entry_by_name(const kivd_static_perm_group *table,
                                                            int32_t count,
                                                            const char *name) KIV_NOEXCEPT;

/* Returns the number, counted from 1, of the first valid role at index `start` or behind it and
 * below `count`, or -1. */
KIV_API int32_t kivd_perm_group_next_role_num_get(const kivd_perm_group *table, int32_t start,
                                                  int32_t count) KIV_NOEXCEPT;

/* Returns the highest number of a rule, or 0 where there is none. */
KIV_API int32_t kivd_perm_group_max_rule_id_get(const kivd_perm_group *role) KIV_NOEXCEPT;

/* Returns the lowest number of a rule above `start`, or -1. */
KIV_API int32_t kivd_perm_group_next_rule_id_get(const kivd_perm_group *role,
                                                 int32_t start) KIV_NOEXCEPT;

/* -- Roles: texts ------------------------------------------------------------ */

/* Room for every text below: an accounting line with the longest list of virtual SANs. */
#define KIVD_ROLE_TEXT_SIZE 14336

/* Store the word of a type in `str`, 8 bytes at least. Another type fails the assertion "0". Return
 * 0. */
KIV_API int kivd_perm_group_rule_type_str_get(char *str, int32_t rule_type) KIV_NOEXCEPT;
KIV_API int kivd_perm_group_command_type_str_get(char *str, int32_t command_type) KIV_NOEXCEPT;

/* Stores the line that configures the rule, such as "rule 1 permit show feature zone", in `str`, 80
 * bytes at least. A rule of every feature ends with a space. Returns 0. */
KIV_API int kivd_perm_group_conf_entry_cli_str_get(char *str,
                                                   const kivd_perm_group_conf_entry *entry,
                                                   int32_t rule_num) KIV_NOEXCEPT;

/* Print a rule as a line of a table (returns 0), or a role with its rules, through kiv_buf_printf.
 * `vsan_mask` are the permitted virtual SANs of the role. */
KIV_API int kivd_perm_group_conf_entry_cli_show(const kivd_perm_group_conf_entry *entry,
                                                int32_t rule_num) KIV_NOEXCEPT;
KIV_API void kivd_perm_group_entry_cli_show(const kivd_perm_group *list_ptr,
                                            const bmask4096 *vsan_mask) KIV_NOEXCEPT;

/* Prints a predefined role on standard output. */
KIV_API void
kivd_static_perm_group_entry_cli_show(const kivd_static_perm_group *entry) KIV_NOEXCEPT;

/* Print the values of a record on standard output, for its developers. What follows the role is not
 * looked at. */
KIV_API void kivd_perm_group_entry_show(const kivd_perm_group *list_ptr, ...) KIV_NOEXCEPT;
KIV_API void kivd_perm_group_conf_entry_show(const kivd_perm_group_conf_entry *entry) KIV_NOEXCEPT;
KIV_API void
kivd_perm_group_conf_cli_wrapper_show(const kivd_perm_group_conf_cli_wrapper *wrapper) KIV_NOEXCEPT;

/* Stores the accounting line of a change, KIVD_ROLE_TEXT_SIZE bytes at most, in `str`.
 * `message_type` is an enum kivd_role_message; another one, or an unknown kind of change of a rule,
 * fails the assertion "0". Returns 0. */
KIV_API int
kivd_perm_group_wrapper_cli_str_get(char *str, int32_t message_type,
                                    const kivd_perm_group_conf_cli_wrapper *wrapper) KIV_NOEXCEPT;

/* -- Questions to the daemon -------------------------------------------------- */

/* Every one is a request to the daemon, 10 seconds at most. `client` tells the daemon who asks; it
 * is passed on as it is. Replies that are handed out are on the heap, freed by the caller; on
 * failure null is stored. A reply that is too short, or has a count that cannot be, is a failure
 * like one of the transport, with errno EPROTO. */

/* Asks whether a role exists. Returns 0, at once for a predefined role but network-admin; -1 when
 * it does not exist, or when the daemon cannot be asked, then with a message on standard output. */
KIV_API int kivd_perm_group_role_name_verify(uint32_t client, const char *role_name) KIV_NOEXCEPT;

/* Fetches the configured roles, an array of *count_out, and a second block, which is the daemon's
 * own. What follows the last whole role in the answer does not count. `mode` is passed on. Returns
 * 0; 51 for a transport failure; or the daemon's status. */
KIV_API int kivd_perm_group_table_get(uint32_t client, int32_t mode, kivd_perm_group **roles_out,
                                      void **second_out, int32_t *count_out) KIV_NOEXCEPT;

/* The shell's settings: 128 bytes, of which the first 124 travel. */
#define KIVD_SWITCHNAME_SIZE 64
struct kiv_cfg_info {
    char switchname[KIVD_SWITCHNAME_SIZE];
    uint8_t reserved1[12];
    int32_t session_timeout; /* first form: the daemon's own meaning, as for the next one */
    int32_t session_timeout_second_form;
    int32_t max_sessions;
    uint8_t reserved2[40];
};

/* Fetches the settings. Returns 0 with a whole record, or -1. */
KIV_API int kivd_kiv_configuration_get(uint32_t client,
                                       struct kiv_cfg_info **info_out) KIV_NOEXCEPT;

/* The same over a message queue of the caller, into a record of the caller, whose last 4 bytes stay
 * as they are. */
KIV_API int kivd_kiv_config_info_get(int ovra_queue, struct kiv_cfg_info *cfg_out) KIV_NOEXCEPT;

/* Sends settings with the opcode of one of the changes below, an extra word and two texts that the
 * daemon knows. Opcode 917 goes to service 0, all others to the daemon. Returns the result of
 * cmi_req_resp. */
KIV_API int kivd_kiv_configuration_set(uint32_t client, const struct kiv_cfg_info *kiv_cfg_info,
                                       uint32_t opcode, int32_t extra, const char *text1,
                                       const char *text2) KIV_NOEXCEPT;

/* Change one setting. A name is cut to 63 characters. Time-outs are of the first form where
 * `first_form` is not 0. Return 0 or -1. */
KIV_API int kivd_switchname_set(uint32_t client, const char *switchname) KIV_NOEXCEPT;
KIV_API int kivd_session_timeout_set(uint32_t client, int32_t timeout,
                                     int32_t first_form) KIV_NOEXCEPT;
KIV_API int kivd_max_kiv_sessions_set(uint32_t client, int32_t max, int32_t extra) KIV_NOEXCEPT;

/* Has the daemon merge the contributed trees. Returns the daemon's word of the result, or -1. */
KIV_API int32_t kivd_generate_main_tree(uint32_t client) KIV_NOEXCEPT;

/* Fetches the table of contributed trees. Returns the result of cmi_req_resp. */
KIV_API int kivd_tree_table_get(uint32_t client, kiv_tree_table **table_out) KIV_NOEXCEPT;

/* A subtype of parameters and the two words that belong to it: 12 bytes. */
typedef struct kivd_param_subtype_entry {
    uint32_t subtype;
    uint32_t pair[2];
} kivd_param_subtype_entry;

#define KIVD_PARAM_SUBTYPE_TABLE_CAPACITY 128

/* The entries 0 to last_index are in use. */
typedef struct kivd_param_subtype_table {
    kivd_param_subtype_entry entries[KIVD_PARAM_SUBTYPE_TABLE_CAPACITY];
    int32_t last_index;
} kivd_param_subtype_table;

/* Announce a subtype with its two words, and fetch the table. Return the result of cmi_req_resp. */
KIV_API int kivd_param_subtype_register(uint32_t client, uint32_t subtype,
                                        const uint32_t *pair) KIV_NOEXCEPT;
KIV_API int kivd_param_subtype_table_get(uint32_t client,
                                         kivd_param_subtype_table **table_out) KIV_NOEXCEPT;

/* Stores the name of the tree file in force, KIVD_PARFILE_NAME_SIZE bytes at most. Returns 0, or -1
 * with nothing stored. */
#define KIVD_PARFILE_NAME_SIZE 128
KIV_API int kivd_kiv_dynamic_parfile_name_get(uint32_t client, char *name_out) KIV_NOEXCEPT;

/* Tell the node that holds the configuration that `session` has locked it (lock 1), or unlocked it
 * (0). Return the result of cmi_remote_req_resp. */
KIV_API int kivd_send_lock_unlock_notification(uint32_t client, int32_t lock,
                                               int32_t session) KIV_NOEXCEPT;
KIV_API int kivd_cli_lock(uint32_t client, int32_t session) KIV_NOEXCEPT;
KIV_API int kivd_cli_unlock(uint32_t client, int32_t session) KIV_NOEXCEPT;

/* Not known to this library: says so, stores 0 and returns 0. */
KIV_API int kivd_max_vsan_count_allowed_get(uint32_t client, int32_t *count_out) KIV_NOEXCEPT;

KIV_EXTERN_C_END

#endif
