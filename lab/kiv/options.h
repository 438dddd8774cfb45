// The command line of the shell itself.
#ifndef LAB_KIV_OPTIONS_H
#define LAB_KIV_OPTIONS_H

#include <string>
#include <string_view>

#include "failure.h"

namespace kiv_shell {

enum class input_kind { standard_input, command, command_file, configuration_file, session };

// In -e: the bootstrap pass of a configuration file, which checks it and stores nothing.
constexpr int bootstrap_flag = 0x8000;
// In -o: no heading above the running configuration.
constexpr int without_heading_flag = 0x1;

struct options {
    input_kind input = input_kind::standard_input;
    std::string operand; // the command line, or the name of the file
    int execution = 0;
    int quiet = 0;
    int output_form = 0;
    int wait_seconds = 10; // for each answer of a module
    bool peer = false;
    std::string peer_version;
    bool boot = false; // started as kivboot
    bool help = false;

    bool checks_only() const { return (execution & bootstrap_flag) != 0; }
    bool with_heading() const { return (output_form & without_heading_flag) == 0; }
};

constexpr std::string_view boot_name = "kivboot";

// The last part of a path.
std::string_view file_part(std::string_view path);

failure read_options(int argc, const char *const *argv, options &into);

extern const char *const usage_text;

} // namespace kiv_shell

#endif
