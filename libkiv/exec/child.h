// Children of the library: every process that it starts, but the interactive session's.
#ifndef KIV_EXEC_CHILD_H
#define KIV_EXEC_CHILD_H

#include <cstdint>

namespace kiv {

// So that what the caller has printed comes before what a child prints.
void flush_streams();

// Runs the program at `path` with the arguments in `argv`, which ends with null, and waits for
// it. Returns the raw wait status, 127 << 8 when the program cannot be executed, -1 when no child
// can be started or waited for.
int32_t run_program(const char *path, const char *const *argv);

// Runs a command line with the C library's command interpreter; its raw status as it stands.
int32_t run_line(const char *line);

} // namespace kiv

#endif
