// What the commands say. Functions that return int return the exit status.
#ifndef KIVCTL_REPORT_H
#define KIVCTL_REPORT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace kivctl {

// Prints on standard output and makes sure that it, and all before it, got there.
int print(std::string_view text);

// Print a usage text: as an answer on standard output, or after a mistake on standard error.
int show_usage(const char *usage);
int refuse_usage(const char *usage);
int refuse_usage(const char *usage, std::string_view program, std::string_view problem);

// The same where the word behind argv[0] is missing or no job of it, and where there are other
// operands than the program takes: more than `most`, or else too few.
int refuse_job(const char *usage, int argc, char **argv);
int refuse_operands(const char *usage, std::string_view program, std::span<char *const> operands,
                    size_t most);

// Say on standard error what was wrong with the call, or what went wrong.
int refuse(std::string_view program, std::string_view problem);
int fail(std::string_view subject, std::string_view problem);

// Report the raw wait status of a launcher, or the result code of an executor: silent when all is
// well, and always one line on standard output with `json`.
int report_status(int32_t raw_status, bool json);
int report_code(uint32_t code, bool json);

// An error code as it is written everywhere: 0x and eight digits.
std::string hexadecimal(uint32_t code);

// Reads a whole decimal number, with its sign; false for anything else.
bool read_number(const char *text, int32_t &number);

} // namespace kivctl

#endif
