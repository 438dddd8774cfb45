#include "switch_root.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <sys/wait.h>
#include <unistd.h>

namespace switch_root {

namespace {

constexpr const char *recording_file = "/ubex/recorded";
constexpr const char *shells[] = {"/usr/sbin/kiv.bin", "/lc/ubexboot/bin/kivboot"};

} // namespace

void require()
{
    if (std::getenv("KIV_SWITCH_ROOT") != nullptr && access("/run/host/usr", F_OK) == 0)
        return;
    std::fputs("this test replaces system programs: run it with script/switch-root\n", stderr);
    std::exit(1);
}

void write_file(const std::string &path, const std::string &content)
{
    std::ofstream file(path);
    file << content;
    ASSERT_TRUE(file.flush().good()) << path;
}

std::string read_file(const std::string &path)
{
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

outcome run(const std::string &line, const std::string &input)
{
    write_file("/ubex/input", input);
    const std::string redirected = "(" + line + ") </ubex/input >/ubex/output 2>/ubex/error";
    const int status = std::system(redirected.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file("/ubex/output"),
            read_file("/ubex/error")};
}

void install_shell(const std::string &program)
{
    require();
    for (const char *shell : shells) {
        unlink(shell);
        if (!program.empty()) {
            ASSERT_EQ(symlink(program.c_str(), shell), 0) << shell;
        }
    }
}

void recorded::SetUp()
{
    install_shell(RECORDER_PATH);
    unlink(recording_file);
    plan("exit 0");
}

void recorded::plan(const std::string &text)
{
    setenv("RECORDER_PLAN", text.c_str(), 1);
}

std::string recorded::recording()
{
    std::string text = read_file(recording_file);
    unlink(recording_file);
    return text;
}

std::string recorded::arguments(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words)
        text += '[' + word + ']';
    return text;
}

} // namespace switch_root
