#ifndef LAB_KIVD_OPTIONS_H
#define LAB_KIVD_OPTIONS_H

#include <string>

#include <sys/types.h>

namespace kivd {

struct options {
    bool foreground = false;
    bool help = false;
    std::string log_to; // empty: standard error in the foreground, else the system's log
    std::string state_directory = "/ubex/etc/kivd";
    uid_t administrator;
};

// What is wrong with the command line; empty where nothing is.
std::string read_options(int argc, const char *const *argv, options &into);

extern const char *const usage_text;

} // namespace kivd

#endif
