#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include <getopt.h>
#include <sys/stat.h>

#include <kiv/kiv_exec_lib.h>

#include "commands.h"
#include "report.h"

namespace kivctl {

namespace {

constexpr const char *config_usage =
    "usage: kivctl config show [-o FILE]\n"
    "       kivctl config apply FILE\n"
    "\n"
    "  show         print the running configuration, or write it to FILE\n"
    "  apply FILE   have the shell apply a configuration file\n";

constexpr const char *script_usage = "usage: kivctl script [--boot] FILE\n"
                                     "\n"
                                     "Has the shell run a file of commands.\n"
                                     "\n"
                                     "  --boot   the boot-time shell\n";

constexpr std::array long_options{
    option{"output", required_argument, nullptr, 'o'},
    option{"boot", no_argument, nullptr, 'b'},
    option{"help", no_argument, nullptr, 'h'},
    option{nullptr, 0, nullptr, 0},
};

int show(const char *file)
{
    const int32_t status = file == nullptr ? kiv_system("show running-config")
                                           : kiv_generate_running_cfg(shell_word(file).c_str());
    return report_status(status, false);
}

// The library tells success from failure only; a missing file is worth a word of its own.
int report_file(int result, const char *file)
{
    struct stat status;
    if (result == 0)
        return done;
    if (stat(file, &status) != 0)
        return fail(file, std::strerror(errno));
    return fail(file, "the shell did not carry it out whole");
}

int show_config(int argc, char **argv)
{
    const char *file = nullptr;
    for (int code; (code = getopt_long(argc, argv, "+o:", long_options.data(), nullptr)) != -1;) {
        if (code == 'h')
            return show_usage(config_usage);
        if (code != 'o')
            return refuse_usage(config_usage);
        file = optarg;
    }
    return optind == argc ? show(file) : refuse_usage(config_usage);
}

} // namespace

int config_command(int argc, char **argv)
{
    const std::string_view action = argc > 1 ? argv[1] : "";
    if (action == "--help")
        return show_usage(config_usage);
    if (action == "show")
        return show_config(argc - 1, argv + 1);
    if (action == "apply" && argc == 3)
        return report_file(kiv_execute_cfg_file(argv[2]), argv[2]);
    return refuse_usage(config_usage);
}

int script_command(int argc, char **argv)
{
    bool boot = false;
    for (int code; (code = getopt_long(argc, argv, "+", long_options.data(), nullptr)) != -1;) {
        if (code == 'h')
            return show_usage(script_usage);
        if (code != 'b')
            return refuse_usage(script_usage);
        boot = true;
    }
    if (optind + 1 != argc)
        return refuse_usage(script_usage);
    const char *file = argv[optind];
    struct stat status;
    if (stat(file, &status) != 0)
        return fail(file, std::strerror(errno));
    return report_file(boot ? kiv_lc_execute_script_file(file) : kiv_execute_script_file(file),
                       file);
}

} // namespace kivctl
