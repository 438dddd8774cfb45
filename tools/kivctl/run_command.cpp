#include <array>
#include <cstdio>
#include <optional>
#include <string>

#include <getopt.h>

#include <kiv/common.h>
#include <kiv/kiv_exec_lib.h>

#include "commands.h"
#include "report.h"

namespace kivctl {

namespace {

constexpr const char *usage =
    "usage: kivctl run [OPTION...] COMMAND...\n"
    "\n"
    "Runs one command in the shell; its words are joined by blanks.\n"
    "\n"
    "  --out FILE     write the shell's output to FILE\n"
    "  --err FILE     with --out: write its errors to FILE, not to where the output goes\n"
    "  -e N, -q N, -o N\n"
    "                 values passed to the shell\n"
    "  --shell LINE   command line that starts the shell, in place of /usr/sbin/kiv.bin\n"
    "  --peer         the variant of the peer platform\n"
    "  --version V    with --peer: the peer's software version\n"
    "  --background   with --peer and an option above: do not wait for the command\n"
    "  --boot         the boot-time shell; not with the options above, but --peer and --version\n"
    "  --debug        trace the command line and the status\n"
    "  --json         print the result as JSON\n"
    "\n"
    "With --out, --err, -e, -q, -o, --shell, --background or --debug, a command line is built and\n"
    "run by the system's command interpreter, and a failure is a library error code; without\n"
    "them the shell is started directly, and a failure is its wait status.\n";

enum option_code : int {
    out_file = 256,
    err_file,
    shell,
    peer,
    version,
    background,
    boot,
    debug,
    json,
    help
};

constexpr std::array options{
    option{"out", required_argument, nullptr, out_file},
    option{"err", required_argument, nullptr, err_file},
    option{"shell", required_argument, nullptr, shell},
    option{"peer", no_argument, nullptr, peer},
    option{"version", required_argument, nullptr, version},
    option{"background", no_argument, nullptr, background},
    option{"boot", no_argument, nullptr, boot},
    option{"debug", no_argument, nullptr, debug},
    option{"json", no_argument, nullptr, json},
    option{"help", no_argument, nullptr, help},
    option{nullptr, 0, nullptr, 0},
};

struct request {
    kiv_system_info info{};
    std::string command;
    const char *version = nullptr;
    bool peer = false;
    bool background = false;
    bool boot = false;
    bool json = false;
    bool needs_line = false; // an option was given that only a command line can carry
    bool overlong = false;   // a text does not fit the record
};

// The record's own rule is that a text without room for its end is too long, so a text that
// fills its field is stored without one and the library refuses it.
template <size_t Size>
void store(request &wanted, char (&field)[Size], std::string_view text)
{
    wanted.overlong |= text.size() > Size;
    text.copy(field, Size);
}

bool take_option(request &wanted, int code)
{
    switch (code) {
    case out_file:
        store(wanted, wanted.info.out_file, optarg);
        break;
    case err_file:
        store(wanted, wanted.info.err_file, optarg);
        break;
    case shell:
        store(wanted, wanted.info.bin_path, optarg);
        break;
    case 'e':
        return wanted.needs_line = read_number(optarg, wanted.info.e_value);
    case 'q':
        return wanted.needs_line = read_number(optarg, wanted.info.q_value);
    case 'o':
        return wanted.needs_line = read_number(optarg, wanted.info.o_value);
    case debug:
        wanted.info.debug = 1;
        break;
    case background:
        wanted.background = true;
        break;
    case version:
        store(wanted, wanted.info.version, optarg);
        wanted.version = optarg;
        return true;
    case peer:
        return wanted.peer = true;
    case boot:
        return wanted.boot = true;
    case json:
        return wanted.json = true;
    default:
        return false;
    }
    return wanted.needs_line = true;
}

bool is_consistent(const request &wanted)
{
    if (wanted.boot && wanted.needs_line)
        return false;
    if (!wanted.peer && (wanted.background || wanted.version != nullptr))
        return false;
    return *wanted.info.err_file == '\0' || *wanted.info.out_file != '\0';
}

int run_line(request &wanted)
{
    store(wanted, wanted.info.cmd_str, wanted.command);
    if (wanted.overlong)
        return report_code(KIV_ERROR_COMMAND_TOO_LONG, wanted.json);
    background_running_flag = wanted.background ? 1 : 0;
    const uint32_t code =
        wanted.peer ? kiv_talvek_system2(&wanted.info) : kiv_system2(&wanted.info);
    background_running_flag = 0;
    return report_code(code, wanted.json);
}

int run_directly(const request &wanted)
{
    const int target = wanted.boot ? KIV_TARGET_BOOT : KIV_TARGET_SHELL;
    const char *command = wanted.command.c_str();
    return report_status(
        wanted.peer ? talvek_kiv_system_internal(command, KIV_EXEC_COMMAND, target, wanted.version)
                    : kiv_system_internal(command, KIV_EXEC_COMMAND, target),
        wanted.json);
}

} // namespace

int run_command(int argc, char **argv)
{
    request wanted;
    for (int code; (code = getopt_long(argc, argv, "+e:q:o:", options.data(), nullptr)) != -1;) {
        if (code == help)
            return show_usage(usage);
        if (!take_option(wanted, code))
            return refuse_usage(usage);
    }
    if (optind == argc || !is_consistent(wanted))
        return refuse_usage(usage);
    for (int i = optind; i < argc; ++i)
        wanted.command.append(i == optind ? "" : " ").append(argv[i]);
    return wanted.needs_line ? run_line(wanted) : run_directly(wanted);
}

} // namespace kivctl
