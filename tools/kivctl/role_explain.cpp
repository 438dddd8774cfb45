// Why a user may run a command, or may not.

#include <array>
#include <optional>
#include <string>
#include <variant>

#include <pwd.h>

#include "commands.h"
#include "daemon_client.h"
#include "lab/kiv/daemon_link.h"
#include "lab/kiv/handlers.h"
#include "lab/kiv/parser.h"
#include "lab/kiv/rights.h"
#include "lab/kiv/tree.h"
#include "listing.h"
#include "options.h"
#include "report.h"
#include "role_jobs.h"

namespace kivctl {

namespace {

struct placed_command {
    kiv_shell::command parsed;
    bool configures = false;
};

// The command as the shell would take it: in its outermost mode, or else in configuration mode.
std::optional<placed_command> find(const kiv_shell::tree_view &tree, const char *line,
                                   std::string &problem)
{
    auto found = kiv_shell::parse_command(tree, kiv_shell::root_node, line);
    if (auto *parsed = std::get_if<kiv_shell::command>(&found))
        return placed_command{std::move(*parsed), false};
    problem = std::get<kiv_shell::line_error>(found).text;
    const auto mode = tree.mode_of_function(kiv_shell::configure_function);
    if (!mode)
        return {};
    found = kiv_shell::parse_command(tree, *mode, line);
    if (auto *parsed = std::get_if<kiv_shell::command>(&found))
        return placed_command{std::move(*parsed), true};
    return {};
}

std::string joined(const std::vector<std::string> &names)
{
    std::string all;
    for (const std::string &name : names)
        all.append(all.empty() ? "" : ", ").append(name);
    return all;
}

// Users that the system does not know have no number, and roles all the same.
bool may_do_everything(const kiv_shell::daemon_link &daemon, const char *user)
{
    const passwd *known = getpwnam(user);
    return known != nullptr && daemon.is_administrator(known->pw_uid);
}

int explain(const char *user, const char *line, bool json)
{
    const kiv_shell::daemon_link daemon;
    kiv_shell::tree_file file;
    std::vector<kivd_perm_group> configured;
    if (const auto failed = kiv_shell::fetch_roles(configured))
        return fail("roles", *failed);
    if (const auto failed = file.open(daemon.tree_path()))
        return fail("tree", *failed);
    const kiv_shell::tree_view tree = file.view();
    std::string problem;
    const auto command = find(tree, line, problem);
    if (!command)
        return fail(line, problem);
    const bool is_administrator = may_do_everything(daemon, user);
    const std::vector<std::string> names =
        is_administrator ? std::vector{std::string(kiv::roles::administrator_role)}
                         : kiv_shell::roles_of_user(user);
    const kiv_shell::rights limits(names, std::move(configured), tree);
    const kiv::roles::decision decided =
        is_administrator ? kiv::roles::decision{true, names.front(), 0, "administrator"}
                         : limits.may_run(command->parsed, command->configures);
    summary all;
    all.add("user", user);
    all.add("roles", joined(names));
    all.add("command", canonical_line(command->parsed));
    all.add("decision", decided.permitted ? "permitted" : "denied");
    all.add("role", decided.role);
    all.add("rule", int64_t{decided.rule});
    all.add("why", decided.why);
    const int status = all.print(json);
    return status == done && !decided.permitted ? static_cast<int>(failed) : status;
}

} // namespace

int explain_role(int argc, char **argv)
{
    bool json = false;
    if (const auto status =
            read_json_option(argc, argv, role_jobs_usage, json, option_place::in_front))
        return *status;
    if (asks_for_help_behind_operand(argc, argv))
        return show_usage(role_jobs_usage);
    if (argc - optind < 2)
        return refuse_operands(role_jobs_usage, argv[0], operands_of(argc, argv), 2);
    std::string line;
    for (int i = optind + 1; i < argc; ++i)
        line.append(line.empty() ? "" : " ").append(argv[i]);
    return explain(argv[optind], line.c_str(), json);
}

} // namespace kivctl
