// The commands of kivctl, one function each. `argv[0]` is the command's own word; the result is
// the exit status.
#ifndef KIVCTL_COMMANDS_H
#define KIVCTL_COMMANDS_H

namespace kivctl {

enum exit_code { done = 0, failed = 1, wrong_usage = 2 };

int config_command(int argc, char **argv);
int errors_command(int argc, char **argv);
int run_command(int argc, char **argv);
int script_command(int argc, char **argv);
int tree_command(int argc, char **argv);

} // namespace kivctl

#endif
