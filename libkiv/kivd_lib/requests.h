// The requests that the daemon answers.
#ifndef KIV_KIVD_LIB_REQUESTS_H
#define KIV_KIVD_LIB_REQUESTS_H

#include <cstdint>

#include <kiv/kivd_lib.h>
#include <kiv/platform/cmi.h>

namespace kiv {

// The part of a settings record that travels.
inline constexpr uint32_t settings_size = 124;

// A change of settings as it travels.
struct settings_change {
    int32_t extra;
    uint8_t settings[settings_size];
};

// A notice that a session has locked the configuration, or unlocked it.
struct lock_notice {
    int32_t lock;
    int32_t session;
};

// A request by its opcode, with the sizes of its payload and of the shortest answer that holds what
// is read from it.
struct request_kind {
    uint32_t opcode;
    int32_t mode;
    uint32_t request_size;
    uint32_t least_reply;
};

namespace requests {

constexpr request_kind query(uint32_t opcode, uint32_t least_reply)
{
    return {opcode, CMI_MODE_QUERY, 0, least_reply};
}

constexpr request_kind change(uint32_t opcode, uint32_t request_size)
{
    return {opcode, CMI_MODE_CHANGE, request_size, 0};
}

inline constexpr uint32_t switchname_opcode = 917;
inline constexpr uint32_t session_timeout_opcode = 935;
inline constexpr uint32_t session_timeout_second_form_opcode = 936;
inline constexpr uint32_t max_sessions_opcode = 7661;

// The verification has the mode of a query and a payload all the same.
inline constexpr request_kind role_verification{914, CMI_MODE_QUERY,
                                                sizeof(kivd_perm_group_conf_cli_wrapper), 0};
inline constexpr request_kind roles = query(912, 0);
inline constexpr request_kind roles_second_part = query(946, 0);
inline constexpr request_kind settings = query(916, settings_size);
inline constexpr request_kind main_tree = query(937, sizeof(int32_t));
inline constexpr request_kind tree_table = query(938, sizeof(kiv_tree_table));
inline constexpr request_kind lock = change(940, sizeof(lock_notice));
inline constexpr request_kind subtype_registration = change(947, sizeof(kivd_param_subtype_entry));
inline constexpr request_kind subtype_table = query(948, sizeof(kivd_param_subtype_table));
inline constexpr request_kind tree_file_name = query(7658, 1);

} // namespace requests

} // namespace kiv

#endif
