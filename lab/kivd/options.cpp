#include "options.h"

#include <array>
#include <charconv>
#include <string_view>

#include <unistd.h>

namespace kivd {

const char *const usage_text =
    "usage: kivd [--foreground] [--log stderr|syslog|FILE] [--state DIR]\n"
    "            [--administrator UID]\n"
    "\n"
    "The daemon of the shell: keeps what modules register, merges their command trees, keeps the\n"
    "roles and settings of the switch, and serves all of them to the shell and to modules.\n"
    "\n"
    "  --foreground         do not go into the background\n"
    "  --log WHERE          default: stderr in the foreground, else syslog; SIGHUP reopens a file\n"
    "  --state DIR          what survives the daemon (default: /ubex/etc/kivd)\n"
    "  --administrator UID  the user who may change everything, as root may (default: the\n"
    "                       daemon's own)\n"
    "\n"
    "In the background, the command returns when the daemon serves. SIGTERM ends it.\n"
    "Exit status: 0 ended by SIGTERM, or serves; 1 it cannot serve; 2 wrong usage.\n";

namespace {

using taker = std::string (*)(options &, const char *);

template <std::string options::*Member>
std::string take_text(options &into, const char *operand)
{
    into.*Member = operand;
    return *operand == '\0' ? "an empty operand" : "";
}

template <bool options::*Member>
std::string take_flag(options &into, const char *)
{
    into.*Member = true;
    return {};
}

std::string take_administrator(options &into, const char *operand)
{
    const std::string_view digits = operand;
    const auto [rest, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), into.administrator);
    return error == std::errc() && rest == digits.data() + digits.size() ? "" : "not a number";
}

struct option {
    std::string_view name;
    bool has_operand;
    taker take;
};

constexpr std::array option_table{
    option{"--foreground", false, take_flag<&options::foreground>},
    option{"--help", false, take_flag<&options::help>},
    option{"--log", true, take_text<&options::log_to>},
    option{"--state", true, take_text<&options::state_directory>},
    option{"--administrator", true, take_administrator},
};

const option *find(std::string_view name)
{
    for (const option &row : option_table) {
        if (row.name == name)
            return &row;
    }
    return nullptr;
}

} // namespace

std::string read_options(int argc, const char *const *argv, options &into)
{
    into.administrator = geteuid();
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        const option *row = find(name);
        if (row == nullptr)
            return "unknown option " + name;
        if (row->has_operand && ++i == argc)
            return name + " needs an operand";
        if (const std::string fault = row->take(into, argv[i]); !fault.empty())
            return std::string(row->name).append(": ").append(fault);
    }
    if (into.log_to.empty())
        into.log_to = into.foreground ? "stderr" : "syslog";
    return {};
}

} // namespace kivd
