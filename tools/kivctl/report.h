// What the commands say about a result.
#ifndef KIVCTL_REPORT_H
#define KIVCTL_REPORT_H

#include <cstdint>
#include <string>
#include <string_view>

namespace kivctl {

// Print a usage text: as an answer on standard output, or after a mistake on standard error.
// Return the exit status.
int show_usage(const char *usage);
int refuse_usage(const char *usage);

// Says on standard error what went wrong; returns the exit status of a failure.
int fail(std::string_view subject, std::string_view problem);

// Report the raw wait status of a launcher, or the result code of an executor: silent when all is
// well, and always one line on standard output with `json`. Return the exit status.
int report_status(int32_t raw_status, bool json);
int report_code(uint32_t code, bool json);

// A word as the shell reads it: in quotes where it needs them.
std::string shell_word(std::string_view word);

// Reads a whole decimal number, with its sign; false for anything else.
bool read_number(const char *text, int32_t &number);

} // namespace kivctl

#endif
