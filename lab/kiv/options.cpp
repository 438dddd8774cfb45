#include "options.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace kiv_shell {

const char *const usage_text =
    "usage: kiv [-c COMMAND | -f FILE | -r FILE | --session] [-e N] [-q N] [-o N] [-L]\n"
    "           [-V VERSION] [-W SECONDS]\n"
    "\n"
    "  -c COMMAND   run one command line\n"
    "  -f FILE      run the command lines of a file, up to the first that fails\n"
    "  -r FILE      apply a configuration file: nothing of it where a line is wrong\n"
    "  -nRc, -nRf, -nRr\n"
    "               the same as -c, -f, -r\n"
    "  --session    answer command lines from standard input, for a program: each answer ends "
    "with\n"
    "               KIV_CALLBACK_SUCCESS, KIV_CALLBACK_ERROR or KIV_PARSE_ERROR\n"
    "  -e N         flags; 0x8000: the bootstrap pass of -r, which only checks the file\n"
    "  -q N         not 0: no informational messages\n"
    "  -o N         flags; 1: the running configuration without its heading\n"
    "  -L           the peer variant: there is \"show running-config peer\"\n"
    "  -V VERSION   the software version of the peer, shown in headings\n"
    "  -W SECONDS   how long a module has for an answer: 1 to 3600, 10 without this\n"
    "\n"
    "N is decimal, or hexadecimal with 0x.\n"
    "Without a command or file, command lines come from standard input.\n"
    "Exit status: 0 done, 1 a command failed or is not understood, 2 wrong usage or no usable\n"
    "command tree.\n";

namespace {

constexpr int longest_wait = 3600;

failure set_input(options &into, input_kind kind, const char *operand)
{
    if (into.input != input_kind::standard_input)
        return "only one of -c, -f, -r and --session";
    into.input = kind;
    into.operand = operand == nullptr ? "" : operand;
    return {};
}

template <input_kind Kind>
failure take_input(options &into, const char *operand)
{
    return set_input(into, Kind, operand);
}

template <int options::*Member>
failure take_number(options &into, const char *operand)
{
    std::string_view digits = operand;
    const bool hexadecimal = digits.starts_with("0x");
    digits.remove_prefix(hexadecimal ? 2 : 0);
    const char *end = digits.data() + digits.size();
    const auto [rest, error] =
        std::from_chars(digits.data(), end, into.*Member, hexadecimal ? 16 : 10);
    if (error != std::errc() || rest != end || (hexadecimal && digits.starts_with('-')))
        return "not a number: " + printable(operand);
    return {};
}

failure take_wait(options &into, const char *operand)
{
    const failure failed = take_number<&options::wait_seconds>(into, operand);
    const bool is_time = into.wait_seconds >= 1 && into.wait_seconds <= longest_wait;
    return failed || is_time ? failed : "not 1 to 3600 seconds: " + printable(operand);
}

failure take_version(options &into, const char *operand)
{
    into.peer_version = operand;
    return {};
}

failure take_peer(options &into, const char *)
{
    into.peer = true;
    return {};
}

failure take_help(options &into, const char *)
{
    into.help = true;
    return {};
}

struct option {
    std::string_view name;
    bool has_operand;
    failure (*take)(options &, const char *);
};

constexpr std::array option_table{
    option{"-c", true, take_input<input_kind::command>},
    option{"-nRc", true, take_input<input_kind::command>},
    option{"-f", true, take_input<input_kind::command_file>},
    option{"-nRf", true, take_input<input_kind::command_file>},
    option{"-r", true, take_input<input_kind::configuration_file>},
    option{"-nRr", true, take_input<input_kind::configuration_file>},
    option{"--session", false, take_input<input_kind::session>},
    option{"-e", true, take_number<&options::execution>},
    option{"-q", true, take_number<&options::quiet>},
    option{"-o", true, take_number<&options::output_form>},
    option{"-V", true, take_version},
    option{"-W", true, take_wait},
    option{"-L", false, take_peer},
    option{"--help", false, take_help},
};

} // namespace

std::string_view file_part(std::string_view path)
{
    return path.substr(path.rfind('/') + 1);
}

failure read_options(int argc, const char *const *argv, options &into)
{
    into.boot = argc > 0 && file_part(argv[0]) == boot_name;
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        const auto found = std::find_if(option_table.begin(), option_table.end(),
                                        [&](const option &row) { return row.name == name; });
        if (found == option_table.end())
            return "unknown option " + printable(name);
        if (found->has_operand && ++i == argc)
            return printable(name) + " needs an operand";
        if (auto failed = found->take(into, found->has_operand ? argv[i] : nullptr))
            return failed;
    }
    return {};
}

} // namespace kiv_shell
