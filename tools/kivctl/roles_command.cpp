// kivctl roles: who may do what.

#include <algorithm>
#include <array>
#include <string_view>

#include "commands.h"
#include "predefined_roles.h"
#include "report.h"
#include "role_jobs.h"

namespace kivctl {

const char *const role_jobs_usage =
    "usage: kivctl roles predefined [--json]\n"
    "       kivctl roles show [--json] [NAME]\n"
    "       kivctl roles add [--json] NAME [DESCRIPTION]\n"
    "       kivctl roles description [--json] NAME [DESCRIPTION]\n"
    "       kivctl roles rule [--json] NAME NUMBER permit|deny\n"
    "                         clear|config|debug|show|exec [FEATURE]\n"
    "       kivctl roles rule [--json] NAME NUMBER none\n"
    "       kivctl roles vsans [--json] NAME LIST|all|none\n"
    "       kivctl roles remove [--json] NAME\n"
    "       kivctl roles explain [--json] USER COMMAND\n"
    "\n"
    "The daemon's roles. Rules 1 to 16 of a role are applied in the order of their numbers: the\n"
    "last one that matches a command decides, and what none matches is denied. A rule without a\n"
    "FEATURE is one of all features. LIST is such as 1-10,20. explain says which role, and which\n"
    "rule of it, permits a command to a user or denies it; exit status 1 where it is denied.\n";

namespace {

struct role_job {
    std::string_view name;
    int (*run)(int argc, char **argv);
};

constexpr std::array jobs{
    role_job{"add", add_role},         role_job{"description", change_role_description},
    role_job{"explain", explain_role}, role_job{"predefined", show_predefined_roles},
    role_job{"remove", remove_role},   role_job{"rule", change_role_rule},
    role_job{"show", show_roles},      role_job{"vsans", change_role_vsans},
};

} // namespace

int roles_command(int argc, char **argv)
{
    const std::string_view name = argc > 1 ? argv[1] : "";
    if (name == "--help")
        return show_usage(role_jobs_usage);
    const auto *job = std::ranges::find(jobs, name, &role_job::name);
    return job == jobs.end() ? refuse_job(role_jobs_usage, argc, argv)
                             : run_word(argc, argv, job->run);
}

} // namespace kivctl
