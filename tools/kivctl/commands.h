// The commands of kivctl, one function each. `argv[0]` is the command's own word; the result is
// the exit status.
#ifndef KIVCTL_COMMANDS_H
#define KIVCTL_COMMANDS_H

#include <string>

namespace kivctl {

enum exit_code { done = 0, failed = 1, wrong_usage = 2 };

int config_command(int argc, char **argv);
int daemon_command(int argc, char **argv);
int deregister_command(int argc, char **argv);
int errors_command(int argc, char **argv);
int interfaces_command(int argc, char **argv);
int lock_command(int argc, char **argv);
int merge_command(int argc, char **argv);
int register_command(int argc, char **argv);
int roles_command(int argc, char **argv);
int run_command(int argc, char **argv);
int script_command(int argc, char **argv);
int session_command(int argc, char **argv);
int settings_command(int argc, char **argv);
int tree_command(int argc, char **argv);
int trees_command(int argc, char **argv);
int unlock_command(int argc, char **argv);

// Runs `job` from the word in argv[1] on. Its argv[0] is that word behind the ones before, since
// getopt begins its messages so.
template <class Job>
int run_word(int argc, char **argv, Job job)
{
    std::string words = std::string(argv[0]) + ' ' + argv[1];
    argv[1] = words.data();
    return job(argc - 1, argv + 1);
}

} // namespace kivctl

#endif
