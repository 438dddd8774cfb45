// Errors of the session, on standard output.
#ifndef KIV_INTERACT_REPORT_H
#define KIV_INTERACT_REPORT_H

#include <cstdio>

// Names the function that it stands in.
#define KIV_INTERACT_REPORT(text) kiv::interact::report(__func__, __LINE__, text)

namespace kiv::interact {

// In the child, standard output is the reply pipe and nobody may flush it later.
inline void report(const char *function, int line, const char *text)
{
    std::printf("error: %s:%s:%d: %s\n", "kiv_interact_exec", function, line, text);
    std::fflush(stdout);
}

} // namespace kiv::interact

#endif
