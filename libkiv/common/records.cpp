#include <cstddef>

#include <kiv/common.h>

// The layout of a parse-tree file is that of these records, on every host.

static_assert(alignof(kiv_array_tree_node) == 1 && alignof(kiv_parameter) == 1);

static_assert(sizeof(kiv_parameter) == 100);
static_assert(offsetof(kiv_parameter, type_mask) == 4);
static_assert(offsetof(kiv_parameter, help) == 12);
static_assert(offsetof(kiv_parameter, minimum) == 76);
static_assert(offsetof(kiv_parameter, maximum) == 80);
static_assert(offsetof(kiv_parameter, subtype) == 84);
static_assert(offsetof(kiv_parameter, reserved) == 88);

static_assert(sizeof(kiv_array_tree_node) == 1000);
static_assert(offsetof(kiv_array_tree_node, token) == 64);
static_assert(offsetof(kiv_array_tree_node, help) == 96);
static_assert(offsetof(kiv_array_tree_node, submode_help) == 160);
static_assert(offsetof(kiv_array_tree_node, submode_prompt) == 192);
static_assert(offsetof(kiv_array_tree_node, func_id) == 208);
static_assert(offsetof(kiv_array_tree_node, module_id) == 256);
static_assert(offsetof(kiv_array_tree_node, subtree_config_generator) == 280);
static_assert(offsetof(kiv_array_tree_node, optional) == 328);
static_assert(offsetof(kiv_array_tree_node, cmi_msg_type) == 330);
static_assert(offsetof(kiv_array_tree_node, action) == 332);
static_assert(offsetof(kiv_array_tree_node, token_id) == 336);
static_assert(offsetof(kiv_array_tree_node, command_id) == 340);
static_assert(offsetof(kiv_array_tree_node, permissions_mask) == 344);
static_assert(offsetof(kiv_array_tree_node, parameters) == 360);
static_assert(offsetof(kiv_array_tree_node, internal_func_id) == 560);
static_assert(offsetof(kiv_array_tree_node, parameter_count) == 562);
static_assert(offsetof(kiv_array_tree_node, asciigen_priority) == 564);
static_assert(offsetof(kiv_array_tree_node, child_count) == 566);
static_assert(offsetof(kiv_array_tree_node, children) == 568);
static_assert(offsetof(kiv_array_tree_node, childlist_mask) == 952);
static_assert(offsetof(kiv_array_tree_node, interface_mask) == 984);
static_assert(offsetof(kiv_array_tree_node, reserved) == 992);

static_assert(sizeof(bmask128) == 20 && sizeof(bmask256) == 36);
static_assert(offsetof(bmask128, bytes) == 4 && offsetof(bmask256, bytes) == 4);

static_assert(offsetof(kiv_ptr_tree_name, next) == 64);
