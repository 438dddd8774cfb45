#ifndef KIVCTL_LIBRARY_OUTPUT_H
#define KIVCTL_LIBRARY_OUTPUT_H

#include <cstdio>

#include <unistd.h>

#include "support/unique_fd.h"

namespace kivctl {

// While it lives, what the library itself prints goes to standard error.
class library_on_standard_error {
public:
    library_on_standard_error() : output_(dup(STDOUT_FILENO))
    {
        std::fflush(stdout);
        if (output_)
            dup2(STDERR_FILENO, STDOUT_FILENO);
    }
    library_on_standard_error(const library_on_standard_error &) = delete;
    library_on_standard_error &operator=(const library_on_standard_error &) = delete;
    ~library_on_standard_error()
    {
        std::fflush(stdout);
        if (output_)
            dup2(output_.get(), STDOUT_FILENO);
    }

private:
    kiv::support::unique_fd output_;
};

} // namespace kivctl

#endif
