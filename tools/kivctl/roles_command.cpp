// kivctl roles: who may do what.

#include <algorithm>
#include <array>
#include <string_view>

#include "commands.h"
#include "predefined_roles.h"
#include "report.h"
#include "role_jobs.h"

namespace kivctl {

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
    return job == jobs.end() ? refuse_usage(role_jobs_usage) : run_word(argc, argv, job->run);
}

} // namespace kivctl
