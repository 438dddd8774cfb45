// kivctl: the jobs of libkiv on a command line.

#include <algorithm>
#include <array>
#include <exception>
#include <string>
#include <string_view>

#include "commands.h"
#include "report.h"

namespace {

constexpr const char *usage =
    "usage: kivctl COMMAND [ARGUMENT...]\n"
    "\n"
    "  config show|apply|diff\n"
    "                       the running configuration: show it, apply a file to it, compare files\n"
    "  errors               the library's error codes and their texts\n"
    "  interfaces [check]   registered types of interfaces; what a user may do on interfaces and\n"
    "                       virtual SANs\n"
    "  roles JOB            roles and their rules: predefined, show, add, rule, vsans,\n"
    "                       description, remove, explain\n"
    "  run COMMAND...       run one command in the shell\n"
    "  script FILE          run a file of commands in the shell\n"
    "  session [FILE]       run many commands in one shell\n"
    "  tree JOB FILE        parse-tree files: compile, merge, check, dump, show, graph, stats,\n"
    "                       publish, zip, unzip\n"
    "\n"
    "  daemon status        what the daemon does\n"
    "  trees                registered command trees\n"
    "  register, deregister TREE...\n"
    "                       register command trees and interface types, while a command runs\n"
    "  merge                have the daemon merge the registered trees\n"
    "  settings [set NAME VALUE]\n"
    "                       the settings that the daemon keeps\n"
    "  lock, unlock         the configuration lock, while a command runs\n"
    "\n"
    "kivctl COMMAND --help tells more, kivctl --version which release this is. Exit status: 0\n"
    "done, 1 the operation failed, 2 wrong usage.\n";

struct command {
    std::string_view name;
    int (*run)(int argc, char **argv);
};

constexpr std::array commands{
    command{"config", kivctl::config_command},
    command{"daemon", kivctl::daemon_command},
    command{"deregister", kivctl::deregister_command},
    command{"errors", kivctl::errors_command},
    command{"interfaces", kivctl::interfaces_command},
    command{"lock", kivctl::lock_command},
    command{"merge", kivctl::merge_command},
    command{"register", kivctl::register_command},
    command{"roles", kivctl::roles_command},
    command{"run", kivctl::run_command},
    command{"script", kivctl::script_command},
    command{"session", kivctl::session_command},
    command{"settings", kivctl::settings_command},
    command{"tree", kivctl::tree_command},
    command{"trees", kivctl::trees_command},
    command{"unlock", kivctl::unlock_command},
};

} // namespace

int main(int argc, char **argv)
try {
    if (argc < 2)
        return kivctl::refuse_usage(usage);
    const std::string_view name = argv[1];
    if (name == "--help")
        return kivctl::show_usage(usage);
    if (name == "--version")
        return kivctl::print("kivctl " KIVCTL_RELEASE "\n");
    const auto *found = std::ranges::find(commands, name, &command::name);
    if (found == commands.end())
        return kivctl::refuse_usage(usage, "kivctl", "no command \"" + std::string(name) + '"');
    std::string program = "kivctl";
    argv[0] = program.data();
    return kivctl::run_word(argc, argv, found->run);
} catch (const std::exception &problem) {
    return kivctl::fail("failed", problem.what());
}
