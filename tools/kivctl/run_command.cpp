#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <string>
#include <string_view>

#include <kiv/common.h>
#include <kiv/kiv_exec_lib.h>

#include "commands.h"
#include "options.h"
#include "report.h"
#include "support/characters.h"

namespace kivctl {

namespace {

constexpr const char *usage =
    "usage: kivctl run [OPTION...] COMMAND...\n"
    "\n"
    "Runs one command in the shell; its words are joined by blanks. Behind --, all words are\n"
    "COMMAND's.\n"
    "\n"
    "  --out FILE     write the shell's output to FILE\n"
    "  --err FILE     with --out, without --peer: write its errors to FILE, not to where the\n"
    "                 output goes\n"
    "  -e N, -q N, -o N\n"
    "                 values passed to the shell\n"
    "  --shell LINE   command line that starts the shell, in place of /usr/sbin/kiv.bin\n"
    "  --peer         the variant of the peer platform\n"
    "  --version V    with --peer, without --shell: the peer's software version\n"
    "  --background   with --peer: do not wait for the command\n"
    "  --boot         the boot-time shell; only --peer, --version and --json go with it\n"
    "  --debug        trace the command line and the status\n"
    "  --json         print the result as JSON: the last line of the output, after the shell's\n"
    "\n"
    "With --out, --err, -e, -q, -o, --shell, --background or --debug, a command line is built and\n"
    "run by the system's command interpreter, and a failure is a library error code; without\n"
    "them the shell is started directly, and a failure is its wait status.\n"
    "\n"
    "Texts go into the built line as they are. What the interpreter would not take as it is, is\n"
    "refused: \" $ ` \\ and line ends in COMMAND, ' in V, and in FILE all but letters, digits and\n"
    "/._-+,:@%=. LINE is the interpreter's to read.\n";

enum option_code : int {
    out_file = first_own_code,
    err_file,
    shell,
    peer,
    version,
    background,
    boot,
    debug,
    json
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
    help_option,
    no_more_options,
};

struct request {
    kiv_system_info info{};
    std::string command;
    const char *out = nullptr;
    const char *err = nullptr;
    const char *shell = nullptr;
    const char *version = nullptr;
    bool peer = false;
    bool background = false;
    bool boot = false;
    bool json = false;
    bool needs_line = false; // an option was given that only a command line can carry
};

// What is wrong with a request; empty: nothing.
using complaint = std::string;

complaint take_number(request &wanted, char name, int32_t &value)
{
    wanted.needs_line = true;
    if (read_number(optarg, value))
        return {};
    return std::string("-") + name + " needs a number, not \"" + optarg + '"';
}

complaint take_option(request &wanted, int code)
{
    switch (code) {
    case out_file:
        wanted.out = optarg;
        break;
    case err_file:
        wanted.err = optarg;
        break;
    case shell:
        wanted.shell = optarg;
        break;
    case 'e':
        return take_number(wanted, 'e', wanted.info.e_value);
    case 'q':
        return take_number(wanted, 'q', wanted.info.q_value);
    case 'o':
        return take_number(wanted, 'o', wanted.info.o_value);
    case debug:
        wanted.info.debug = 1;
        break;
    case background:
        wanted.background = true;
        break;
    case version:
        wanted.version = optarg;
        return {};
    case peer:
        wanted.peer = true;
        return {};
    case boot:
        wanted.boot = true;
        return {};
    case json:
        wanted.json = true;
        return {};
    }
    wanted.needs_line = true;
    return {};
}

bool is_empty(const char *name)
{
    return name != nullptr && *name == '\0';
}

// Options that the library would pass over.
complaint find_misuse(const request &wanted)
{
    const struct {
        bool found;
        const char *text;
    } rows[] = {
        {wanted.boot && wanted.needs_line, "only --peer, --version and --json go with --boot"},
        {wanted.background && !wanted.peer, "--background needs --peer"},
        {wanted.version != nullptr && !wanted.peer, "--version needs --peer"},
        {wanted.version != nullptr && wanted.shell != nullptr,
         "--version does not go with --shell"},
        {wanted.err != nullptr && wanted.out == nullptr, "--err needs --out"},
        {wanted.err != nullptr && wanted.peer, "--err does not go with --peer"},
        {is_empty(wanted.out) || is_empty(wanted.err), "--out and --err need the name of a file"},
    };
    for (const auto &row : rows) {
        if (row.found)
            return row.text;
    }
    return {};
}

// The library puts the command in double quotes, the version in single ones, and names of files
// as they are.
bool is_safe_in_command(char c)
{
    return std::string_view("\"$`\\\n").find(c) == std::string_view::npos;
}

bool is_safe_in_version(char c)
{
    return c != '\'';
}

bool is_safe_in_file_name(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x80 || std::isalnum(byte) != 0 ||
           std::string_view("/._-+,:@%=").find(c) != std::string_view::npos;
}

complaint find_unsafe_character(const request &wanted)
{
    const struct {
        const char *name;
        const char *text;
        bool (*is_safe)(char);
    } rows[] = {
        {"COMMAND", wanted.command.c_str(), is_safe_in_command},
        {"--version", wanted.version, is_safe_in_version},
        {"--out", wanted.out, is_safe_in_file_name},
        {"--err", wanted.err, is_safe_in_file_name},
    };
    for (const auto &row : rows) {
        const std::string_view text = row.text == nullptr ? "" : row.text;
        const auto found = std::ranges::find_if_not(text, row.is_safe);
        if (found != text.end())
            return std::string(row.name) + ": a command line cannot hold the character '" +
                   kiv::support::printable({found, found + 1}) + "' of " +
                   kiv::support::printable(text);
    }
    return {};
}

// False where the text does not fit its field with its end. An option that was not given leaves
// the field empty.
template <size_t Size>
bool store(char (&field)[Size], const char *text)
{
    if (text == nullptr)
        return true;
    const size_t length = std::strlen(text);
    if (length >= Size)
        return false;
    std::memcpy(field, text, length);
    return true;
}

bool fill_record(request &wanted)
{
    kiv_system_info &info = wanted.info;
    return store(info.cmd_str, wanted.command.c_str()) && store(info.version, wanted.version) &&
           store(info.out_file, wanted.out) && store(info.err_file, wanted.err) &&
           store(info.bin_path, wanted.shell);
}

int run_line(request &wanted)
{
    if (!fill_record(wanted))
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

int run_request(const char *program, request &wanted)
{
    if (const complaint found = find_misuse(wanted); !found.empty())
        return refuse_usage(usage, program, found);
    if (!wanted.needs_line)
        return run_directly(wanted);
    if (const complaint found = find_unsafe_character(wanted); !found.empty())
        return refuse(program, found);
    return run_line(wanted);
}

} // namespace

int run_command(int argc, char **argv)
{
    request wanted;
    const auto ended = read_options(argc, argv, {"+e:q:o:", options, usage},
                                    [&](int code) { return take_option(wanted, code); });
    if (ended)
        return *ended;
    if (asks_for_help_behind_operand(argc, argv))
        return show_usage(usage);
    if (optind == argc)
        return refuse_usage(usage, argv[0], "no COMMAND");
    for (int i = optind; i < argc; ++i)
        wanted.command.append(i == optind ? "" : " ").append(argv[i]);
    return run_request(argv[0], wanted);
}

} // namespace kivctl
