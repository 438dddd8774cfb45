// The shell for somebody at a terminal.
#ifndef LAB_KIV_AT_TERMINAL_H
#define LAB_KIV_AT_TERMINAL_H

#include "session.h"

namespace kiv_shell {

// Lines from standard input, which is a terminal; with editing and a pager where standard output is
// one as well. Returns the exit status of the shell.
int run_at_terminal(session &shell);

} // namespace kiv_shell

#endif
