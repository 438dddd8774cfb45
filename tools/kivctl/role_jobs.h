// What `kivctl roles` asks of the daemon, and has it change. argv[0] is the job's words.
#ifndef KIVCTL_ROLE_JOBS_H
#define KIVCTL_ROLE_JOBS_H

namespace kivctl {

int show_roles(int argc, char **argv);
int add_role(int argc, char **argv);
int remove_role(int argc, char **argv);
int change_role_rule(int argc, char **argv);
int change_role_description(int argc, char **argv);
int change_role_vsans(int argc, char **argv);
int explain_role(int argc, char **argv);

extern const char *const role_jobs_usage;

} // namespace kivctl

#endif
