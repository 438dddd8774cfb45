#ifndef KIVCTL_DIFF_COMMAND_H
#define KIVCTL_DIFF_COMMAND_H

namespace kivctl {

// kivctl config diff. Returns the exit status, which has meanings of its own: 0 no difference, 1
// differences, 2 trouble.
int diff_config(int argc, char **argv);

} // namespace kivctl

#endif
