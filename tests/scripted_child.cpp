// Stands in for the shell of a session. Writes down how it was started, then takes the steps in
// CHILD_PLAN, one a line; then answers each line by itself and a marker until END_KIV.

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>

#include <unistd.h>

namespace {

void put(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t size = write(descriptor, text.data(), text.size());
        if (size < 0)
            _exit(9);
        text.remove_prefix(static_cast<size_t>(size));
    }
}

// The next line that is not empty; ends the program at the end of input.
std::string hear()
{
    static std::string heard;
    for (;;) {
        const size_t start = std::min(heard.find_first_not_of('\n'), heard.size());
        heard.erase(0, start);
        const size_t end = heard.find('\n');
        if (end != std::string::npos) {
            std::string line = heard.substr(0, end);
            heard.erase(0, end);
            return line;
        }
        static char piece[1 << 16];
        const ssize_t size = read(STDIN_FILENO, piece, sizeof piece);
        if (size <= 0)
            _exit(0);
        heard.append(piece, static_cast<size_t>(size));
    }
}

std::string unescaped(std::string text)
{
    for (size_t at = 0; (at = text.find("\\n", at)) != std::string::npos;)
        text.replace(at, 2, "\n");
    return text;
}

void stay()
{
    for (;;)
        pause();
}

void spill()
{
    for (;;)
        put(STDOUT_FILENO, std::string(4096, 'x'));
}

void stay_silent()
{
    for (;;)
        hear();
}

void leave()
{
    if (fork() == 0)
        stay_silent();
}

const std::map<std::string, std::function<void(const std::string &)>> steps{
    // Wait for a line that is not empty; hear all lines, answer none.
    {"hear", [](auto &) { hear(); }},
    {"silent", [](auto &) { stay_silent(); }},
    // A text, where \n is a newline; so many bytes of output or of standard error; no end.
    {"say", [](auto &text) { put(STDOUT_FILENO, unescaped(text)); }},
    {"fill", [](auto &size) { put(STDOUT_FILENO, std::string(std::stoul(size), 'x')); }},
    {"flood", [](auto &size) { put(STDERR_FILENO, std::string(std::stoul(size), 'e')); }},
    {"spill", [](auto &) { spill(); }},
    {"close", [](auto &descriptor) { close(std::stoi(descriptor)); }},
    {"raise", [](auto &signal) { raise(std::stoi(signal)); }},
    // Do nothing more; a grandchild holds the streams until the end of input.
    {"stay", [](auto &) { stay(); }},
    {"leave", [](auto &) { leave(); }},
};

void record(int argc, char **argv)
{
    std::ofstream record("/ubex/child");
    for (int i = 0; i < argc; ++i)
        record << "arg " << argv[i] << '\n';
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // the one of the folder itself
        const std::string file = std::filesystem::read_symlink(entry.path(), gone);
        if (!file.empty() && !file.starts_with("/proc") && !file.starts_with("/ubex"))
            record << "file " << file << '\n';
    }
}

} // namespace

int main(int argc, char **argv)
{
    record(argc, argv);
    const char *plan = std::getenv("CHILD_PLAN");
    std::istringstream lines(plan == nullptr ? "" : plan);
    for (std::string line; std::getline(lines, line);) {
        const size_t space = std::min(line.find(' '), line.size());
        steps.at(line.substr(0, space))(line.substr(std::min(space + 1, line.size())));
    }
    for (std::string line; (line = hear()) != "END_KIV";)
        put(STDOUT_FILENO, line + "\nKIV_CALLBACK_SUCCESS");
}
