#ifndef LAB_KIV_COMMAND_SESSION_H
#define LAB_KIV_COMMAND_SESSION_H

#include "daemon_link.h"
#include "followed_tree.h"
#include "options.h"
#include "store.h"

namespace kiv_shell {

// Answers the command lines of a program on standard input, until END_KIV or the end. An empty line
// gets no answer; each other one gets exactly one, and nothing else is written on standard output.
// Returns the exit status of the shell.
int run_command_session(const options &chosen, followed_tree &tree, configuration_store &store,
                        daemon_link &daemon);

} // namespace kiv_shell

#endif
