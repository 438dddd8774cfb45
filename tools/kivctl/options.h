// Options on the command line, as getopt knows them.
#ifndef KIVCTL_OPTIONS_H
#define KIVCTL_OPTIONS_H

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <getopt.h>

#include "report.h"

namespace kivctl {

// Codes of long options begin behind those of short ones.
inline constexpr int help_code = 256;
inline constexpr int first_own_code = help_code + 1;

inline constexpr option help_option{"help", no_argument, nullptr, help_code};
inline constexpr option no_more_options{nullptr, 0, nullptr, 0};

struct known_options {
    const char *short_ones;            // as getopt takes them
    std::span<const option> long_ones; // with help_option, and no_more_options at the end
    const char *usage;
};

// Hands each option's code to `take`, which returns what is wrong with it; empty: nothing. Returns
// the exit status where that is the end: the usage was asked for, or an option is wrong.
template <class Take>
std::optional<int> read_options(int argc, char **argv, const known_options &known, Take take)
{
    for (int code; (code = getopt_long(argc, argv, known.short_ones, known.long_ones.data(),
                                       nullptr)) != -1;) {
        if (code == help_code)
            return show_usage(known.usage);
        if (code == '?')
            return refuse_usage(known.usage);
        if (const std::string problem = take(code); !problem.empty())
            return refuse_usage(known.usage, argv[0], problem);
    }
    return {};
}

inline std::span<char *const> operands_of(int argc, char **argv)
{
    return {argv + optind, static_cast<size_t>(argc - optind)};
}

// Whether help is asked for right behind the first operand, where the operands are a command that
// may have options of its own. Behind "--", they are all the command's.
inline bool asks_for_help_behind_operand(int argc, char **argv)
{
    const auto is = [&](int index, std::string_view word) { return argv[index] == word; };
    return optind + 1 < argc && is(optind + 1, "--help") && !is(optind - 1, "--");
}

} // namespace kivctl

#endif
