// Trees, interface types and subtypes, and who has registered them.

#include <algorithm>
#include <cstring>
#include <set>
#include <string>

#include <kiv/platform/syserr.h>

#include "publication.h"
#include "support/field_text.h"
#include "tables.h"

namespace kivd {

namespace {

using kiv::support::field_text;

// The name of a file in the folder of the trees: no way out of it, and nothing hidden.
bool is_file_name(std::string_view name)
{
    constexpr std::string_view allowed =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.";
    return !name.empty() && name.front() != '.' &&
           name.find_first_not_of(allowed) == std::string_view::npos;
}

// The file of a tree is named after it, unless the registration names one.
bool complete(const kiv_tree_table_entry &entry, kiv_tree_table_entry &completed)
{
    const std::string module(field_text(entry.module_id));
    std::string file(field_text(entry.par_file_name));
    if (file.empty())
        file = module + ".par";
    if (!is_file_name(module) || !is_file_name(file) || is_published_name(file) ||
        file.size() >= sizeof entry.par_file_name)
        return false;
    set_tree_table_entry(&completed, module.c_str(), file.c_str());
    return true;
}

void remove_tree_at(tables &all, int32_t index)
{
    const auto owners = all.tree_owners.begin();
    std::copy(owners + index + 1, owners + all.trees.last_index + 1, owners + index);
    delete_entry_from_tree_table(&all.trees, index);
}

void remove_interface_at(tables &all, int32_t index)
{
    const auto owners = all.interface_owners.begin();
    std::copy(owners + index + 1, owners + all.interfaces.last_index + 1, owners + index);
    delete_entry_from_interface_table(&all.interfaces, index);
}

bool is_terminated(const kiv_interface_table_entry &entry)
{
    const kiv_intf_help_info &help = entry.help_info;
    const auto ends = [](const auto &field) { return field_text(field).size() < sizeof field; };
    return ends(entry.name) && ends(entry.verify_func) && ends(entry.listing_func) &&
           ends(entry.library_name) && ends(help.help_str) && help.field_count >= 0 &&
           help.field_count <= KIV_INTF_HELP_FIELDS &&
           std::all_of(help.fields, help.fields + help.field_count,
                       [&](const kiv_intf_field_help_info &field) { return ends(field.name); });
}

} // namespace

uint32_t add_tree(tables &all, const kiv_tree_table_entry &entry, const process &owner)
{
    kiv_tree_table_entry added;
    if (!complete(entry, added))
        return KIV_ERROR_BAD_MESSAGE;
    const int32_t there = search_entry_in_tree_table(&all.trees, added.par_file_name);
    if (there >= 0)
        return all.tree_owners[static_cast<size_t>(there)] == owner ? 0 : KIV_ERROR_EXISTS;
    // One that is expected back keeps its place, so there may be none for others before the table
    // of those that are registered is full.
    const bool was_expected = search_entry_in_tree_table(&all.expected, added.par_file_name) >= 0;
    if (all.trees.last_index + 1 >= KIV_TREE_TABLE_CAPACITY ||
        (!was_expected && insert_entry_in_tree_table(&all.expected, &added) != 0))
        return KIV_ERROR_TABLE_FULL;
    insert_entry_in_tree_table(&all.trees, &added);
    all.tree_owners[static_cast<size_t>(all.trees.last_index)] = owner;
    return 0;
}

uint32_t remove_tree(tables &all, const kiv_tree_table_entry &entry)
{
    kiv_tree_table_entry removed;
    if (!complete(entry, removed))
        return KIV_ERROR_BAD_MESSAGE;
    const int32_t expected = search_entry_in_tree_table(&all.expected, removed.par_file_name);
    if (expected < 0)
        return KIV_ERROR_NOT_FOUND;
    delete_entry_from_tree_table(&all.expected, expected);
    const int32_t index = search_entry_in_tree_table(&all.trees, removed.par_file_name);
    if (index >= 0)
        remove_tree_at(all, index);
    return 0;
}

uint32_t add_interface(tables &all, const kiv_interface_table_entry &entry, const process &owner)
{
    if (entry.intf_mask == 0 || !is_terminated(entry))
        return KIV_ERROR_BAD_MESSAGE;
    const int32_t there = search_entry_in_interface_table(&all.interfaces, entry.intf_mask);
    if (there >= 0)
        return all.interface_owners[static_cast<size_t>(there)] == owner ? 0 : KIV_ERROR_EXISTS;
    if (all.interfaces.last_index + 1 >= KIV_INTERFACE_TABLE_CAPACITY)
        return KIV_ERROR_TABLE_FULL;
    insert_entry_in_interface_table(&all.interfaces, &entry);
    all.interface_owners[static_cast<size_t>(all.interfaces.last_index)] = owner;
    return 0;
}

uint32_t remove_interface(tables &all, uint64_t mask)
{
    const int32_t index = search_entry_in_interface_table(&all.interfaces, mask);
    if (index < 0)
        return KIV_ERROR_INTERFACE_UNKNOWN;
    remove_interface_at(all, index);
    return 0;
}

uint32_t add_subtype(tables &all, const kivd_param_subtype_entry &entry)
{
    kivd_param_subtype_entry *begin = all.subtypes.entries;
    kivd_param_subtype_entry *end = begin + all.subtypes.last_index + 1;
    kivd_param_subtype_entry *there =
        std::find_if(begin, end, [&](const auto &each) { return each.subtype == entry.subtype; });
    if (there == end) {
        if (all.subtypes.last_index + 1 >= KIVD_PARAM_SUBTYPE_TABLE_CAPACITY)
            return KIV_ERROR_TABLE_FULL;
        ++all.subtypes.last_index;
    }
    *there = entry;
    return 0;
}

bool withdraw(tables &all, const process &owner)
{
    const int32_t trees = all.trees.last_index;
    for (int32_t i = all.trees.last_index; i >= 0; --i) {
        if (all.tree_owners[static_cast<size_t>(i)] == owner)
            remove_tree_at(all, i);
    }
    for (int32_t i = all.interfaces.last_index; i >= 0; --i) {
        if (all.interface_owners[static_cast<size_t>(i)] == owner)
            remove_interface_at(all, i);
    }
    return all.trees.last_index != trees;
}

std::vector<std::string> missing_modules(const tables &all, const std::vector<std::string> &files)
{
    std::set<std::string> names;
    for (int32_t i = 0; i <= all.expected.last_index; ++i) {
        const kiv_tree_table_entry &entry = all.expected.entries[i];
        if (std::ranges::find(files, field_text(entry.par_file_name)) == files.end())
            names.emplace(field_text(entry.module_id));
    }
    return {names.begin(), names.end()};
}

} // namespace kivd
