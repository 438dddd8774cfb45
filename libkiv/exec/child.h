// Children of the library: every process that it starts.
#ifndef KIV_EXEC_CHILD_H
#define KIV_EXEC_CHILD_H

#include <cstdint>

#include <sys/types.h>

namespace kiv {

// So that what the caller has printed comes before what a child prints, and is not printed by both.
void flush_streams();

// Runs the program at `path` with the arguments in `argv`, which ends with null, and waits for
// it. Returns the raw wait status, 127 << 8 when the program cannot be executed, -1 when no child
// can be started or waited for.
int32_t run_program(const char *path, const char *const *argv);

// Runs a command line with the C library's command interpreter; its raw status as it stands.
int32_t run_line(const char *line);

// A copy of the calling process: for the session alone, whose child returns to its caller when it
// cannot become the script. Returns 0 in the child, -1 on failure.
pid_t fork_caller();

// Makes the calling process the program; returns only on failure.
void become_program(const char *path, const char *const *argv);

// Has the child ended, or is there no such child any more? It stays to be waited for.
bool has_ended(pid_t child);

// Waits for the child, after killing it if it is told to.
void reap(pid_t child, bool kill_first);

} // namespace kiv

#endif
