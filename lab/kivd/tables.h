// What the daemon knows and keeps: registrations, roles, settings. One record without pointers, so
// that a change is made to a copy, which takes the place of the old one once it is on the disk.
#ifndef LAB_KIVD_TABLES_H
#define LAB_KIVD_TABLES_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <kiv/kiv_process_api.h>
#include <kiv/kivd_lib.h>

namespace kivd {

// A process, told from a later one with its number by the time when it started, in clock ticks
// since the machine did, and by that start of the machine.
struct process {
    int32_t pid;
    uint32_t boot;
    uint64_t started;

    bool operator==(const process &) const = default;
};

constexpr int32_t role_capacity = 64;

struct tables {
    kiv_tree_table trees;
    std::array<process, KIV_TREE_TABLE_CAPACITY> tree_owners;
    kiv_interface_table interfaces;
    std::array<process, KIV_INTERFACE_TABLE_CAPACITY> interface_owners;
    kivd_param_subtype_table subtypes;
    int32_t role_count;
    std::array<kivd_perm_group, role_capacity> roles;
    std::array<bmask4096, role_capacity> role_vsans;
    kiv_cfg_info settings;
    // All trees that are registered, and those whose processes have ended since they were: the end
    // of a process means nothing for what the system is to have.
    alignas(process) kiv_tree_table expected;
};

// The tables of a new switch.
void reset(tables &all);

// Whether counts and sizes are possible.
bool are_sound(const tables &all);

// Changes. They return 0 or a library error code with nothing changed.

uint32_t add_tree(tables &all, const kiv_tree_table_entry &entry, const process &owner);
uint32_t remove_tree(tables &all, const kiv_tree_table_entry &entry);
uint32_t add_interface(tables &all, const kiv_interface_table_entry &entry, const process &owner);
uint32_t remove_interface(tables &all, uint64_t mask);
uint32_t add_subtype(tables &all, const kivd_param_subtype_entry &entry);

// Whatever the process has registered; its trees stay expected. Says whether there were trees.
bool withdraw(tables &all, const process &owner);

// The names of the modules that are expected and whose trees are not among these files, each once
// and in their order.
std::vector<std::string> missing_modules(const tables &all, const std::vector<std::string> &files);

uint32_t change_rule(tables &all, const kivd_perm_group_conf_cli_wrapper &change);
uint32_t change_description(tables &all, const kivd_perm_group_conf_cli_wrapper &change);
uint32_t change_role(tables &all, const kivd_perm_group_conf_cli_wrapper &change);

// The index of a configured role, or -1.
int32_t find_role(const tables &all, std::string_view name);

} // namespace kivd

#endif
