// What tests do to the switch's own files. Only in a switch root.
#ifndef KIV_TESTS_SWITCH_ROOT_H
#define KIV_TESTS_SWITCH_ROOT_H

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace switch_root {

// Ends the program unless it runs in a switch root, so that no test touches the machine itself.
void require();

void write_file(const std::string &path, const std::string &content);
std::string read_file(const std::string &path);

// A command line of the system's interpreter, and what came of it.
struct outcome {
    int status; // the exit status, -1 when a signal ended it
    std::string output;
    std::string error;
};

outcome run(const std::string &line, const std::string &input = {});

// Puts a program where the shell and the boot-time shell stand; an empty path takes them away.
void install_shell(const std::string &program);

// A test whose shell is the recorder.
class recorded : public testing::Test {
protected:
    void SetUp() override;

    static void plan(const std::string &text);

    // What the recorder wrote since the last call, such as "[kiv][-nRc][x] blocked INT"; empty when
    // it did not run.
    static std::string recording();
    static std::string arguments(const std::vector<std::string> &words);
};

} // namespace switch_root

#endif
