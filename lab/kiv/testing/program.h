// Runs the shell as a program, in a switch root.
#ifndef LAB_KIV_TESTING_PROGRAM_H
#define LAB_KIV_TESTING_PROGRAM_H

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include <sys/wait.h>

namespace kiv_shell::testing {

inline std::string read_text(const std::string &name)
{
    std::ostringstream content;
    content << std::ifstream(name).rdbuf();
    return content.str();
}

inline void write_text(const std::string &name, const std::string &content)
{
    std::ofstream file(name);
    file << content;
    if (!file.flush().good())
        throw std::runtime_error("cannot write " + name);
}

struct program_result {
    int status; // -1 when a signal ended it
    std::string output;
    std::string errors;
};

// `arguments` as they are given to the system's command interpreter.
inline program_result run_program(const std::string &program, const std::string &arguments,
                                  const std::string &input = {})
{
    write_text("/ubex/input", input);
    const std::string line =
        program + " " + arguments + " </ubex/input >/ubex/output 2>/ubex/errors";
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_text("/ubex/output"),
            read_text("/ubex/errors")};
}

inline program_result run_shell(const std::string &arguments, const std::string &input = {})
{
    return run_program("/usr/sbin/kiv.bin", arguments, input);
}

} // namespace kiv_shell::testing

#endif
