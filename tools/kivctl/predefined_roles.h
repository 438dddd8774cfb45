#ifndef KIVCTL_PREDEFINED_ROLES_H
#define KIVCTL_PREDEFINED_ROLES_H

namespace kivctl {

// The roles that cannot be changed, from the library: without the daemon. argv[0] is the job's
// words.
int show_predefined_roles(int argc, char **argv);

} // namespace kivctl

#endif
