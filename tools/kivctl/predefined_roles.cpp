#include "predefined_roles.h"

#include <cstdio>
#include <string>

#include <kiv/kivd_lib.h>

#include "commands.h"
#include "listing.h"
#include "report.h"
#include "tree/json.h"

namespace kivctl {

namespace {

constexpr const char *usage =
    "usage: kivctl roles predefined [--json]\n"
    "\n"
    "Shows the roles that cannot be changed.\n"
    "\n"
    "  --json   print a list of JSON objects: name, description and detail\n";

std::string as_json()
{
    std::string text;
    for (const kivd_static_perm_group &role : kivd_static_perm_group_table) {
        kiv::tree::json_object object;
        object.add_text("name", role.name).add_text("description", role.description);
        object.add_text("detail", role.detail);
        text.append(text.empty() ? "[" : ",\n ").append(object.text());
    }
    return text + "]\n";
}

} // namespace

int show_predefined_roles(int argc, char **argv)
{
    bool json = false;
    if (const auto ended = read_json_alone(argc, argv, usage, json))
        return *ended;
    if (json)
        return print(as_json());
    for (const kivd_static_perm_group &role : kivd_static_perm_group_table)
        kivd_static_perm_group_entry_cli_show(&role);
    return print("");
}

} // namespace kivctl
