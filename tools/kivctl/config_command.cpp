#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include <getopt.h>
#include <sys/stat.h>

#include <kiv/kiv_exec_lib.h>

#include "commands.h"
#include "diff_command.h"
#include "options.h"
#include "report.h"
#include "support/shell_word.h"

namespace kivctl {

namespace {

constexpr const char *config_usage =
    "usage: kivctl config show [-o FILE]\n"
    "       kivctl config apply FILE\n"
    "       kivctl config diff [--color[=WHEN]] OLD NEW\n"
    "\n"
    "  show           print the running configuration, or write it to FILE\n"
    "  apply FILE     have the shell apply a configuration file\n"
    "  diff OLD NEW   compare two configuration files; kivctl config diff --help tells more\n";

constexpr const char *script_usage = "usage: kivctl script [--boot] FILE\n"
                                     "\n"
                                     "Has the shell run a file of commands.\n"
                                     "\n"
                                     "  --boot   the boot-time shell\n";

constexpr option output_option{"output", required_argument, nullptr, 'o'};
constexpr option boot_option{"boot", no_argument, nullptr, 'b'};

// The library puts the name, as the shell reads it, into a command of limited length.
constexpr size_t longest_name = 136;

int show(const char *file)
{
    if (file == nullptr)
        return report_status(kiv_system("show running-config"), false);
    const std::string name = kiv::support::shell_word(file);
    if (name.size() > longest_name)
        return fail(file, "name is too long");
    return report_status(kiv_generate_running_cfg(name.c_str()), false);
}

int show_config(int argc, char **argv)
{
    constexpr std::array options{output_option, help_option, no_more_options};
    const char *file = nullptr;
    for (int code; (code = getopt_long(argc, argv, "o:", options.data(), nullptr)) != -1;) {
        if (code == help_code)
            return show_usage(config_usage);
        if (code != 'o')
            return refuse_usage(config_usage);
        file = optarg;
    }
    return optind == argc ? show(file)
                          : refuse_operands(config_usage, argv[0], operands_of(argc, argv), 0);
}

// The library tells success from failure only; a missing file is worth a word of its own.
int run_file(const char *file, int run(const char *file))
{
    struct stat status;
    if (stat(file, &status) != 0)
        return fail(file, std::strerror(errno));
    return run(file) == 0 ? done : fail(file, "the shell failed, or could not be run");
}

int apply_config(int argc, char **argv)
{
    constexpr std::array options{help_option, no_more_options};
    if (const int code = getopt_long(argc, argv, "", options.data(), nullptr); code != -1)
        return code == help_code ? show_usage(config_usage) : refuse_usage(config_usage);
    return optind + 1 == argc ? run_file(argv[optind], kiv_execute_cfg_file)
                              : refuse_operands(config_usage, argv[0], operands_of(argc, argv), 1);
}

} // namespace

int config_command(int argc, char **argv)
{
    const std::string_view action = argc > 1 ? argv[1] : "";
    if (action == "--help")
        return show_usage(config_usage);
    if (action == "show")
        return run_word(argc, argv, show_config);
    if (action == "apply")
        return run_word(argc, argv, apply_config);
    if (action == "diff")
        return run_word(argc, argv, diff_config);
    return refuse_job(config_usage, argc, argv);
}

int script_command(int argc, char **argv)
{
    constexpr std::array options{boot_option, help_option, no_more_options};
    bool boot = false;
    for (int code; (code = getopt_long(argc, argv, "", options.data(), nullptr)) != -1;) {
        if (code == help_code)
            return show_usage(script_usage);
        if (code != 'b')
            return refuse_usage(script_usage);
        boot = true;
    }
    if (optind + 1 != argc)
        return refuse_operands(script_usage, argv[0], operands_of(argc, argv), 1);
    return run_file(argv[optind], boot ? kiv_lc_execute_script_file : kiv_execute_script_file);
}

} // namespace kivctl
