// Where command lines come from. Each function returns the exit status of the shell.
#ifndef LAB_KIV_RUN_H
#define LAB_KIV_RUN_H

#include <string>

#include "line_input.h"
#include "session.h"

namespace kiv_shell {

enum exit_status { status_done = 0, status_failed = 1, status_unusable = 2 };

// What the options ask for.
int run(session &shell);

// Every line, also after one that failed.
int run_lines(session &shell, line_input &lines);

// Up to the first line that fails.
int run_command_file(session &shell, const std::string &name);

// A line that is no command of its mode, but one of a mode around it, leaves the modes in
// between. The file is checked as a whole, then applied in one change of the configuration.
int run_configuration_file(session &shell, const std::string &name);

} // namespace kiv_shell

#endif
