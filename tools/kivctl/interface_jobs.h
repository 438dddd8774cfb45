// What `kivctl interfaces` does. argv[0] is the job's words.
#ifndef KIVCTL_INTERFACE_JOBS_H
#define KIVCTL_INTERFACE_JOBS_H

namespace kivctl {

int check_interfaces(int argc, char **argv);

extern const char *const interfaces_usage;

} // namespace kivctl

#endif
