// Stands in for the shell of a session. Writes down how it was started, then takes the steps in
// CHILD_PLAN, one a line; then answers each line by itself and a marker until END_KIV.
//
//   hear         wait for a line that is not empty
//   silent       hear all lines, answer none
//   say TEXT     \n is a newline
//   fill N       N bytes of output
//   flood N      N bytes of standard error
//   spill        output without an end
//   close N      a descriptor
//   raise N      a signal
//   stay         do nothing more
//   leave        a grandchild holds the streams until the end of input
//   exit N

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
    for (const std::string piece(4096, 'x');;)
        put(STDOUT_FILENO, piece);
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
    {"hear", [](auto &) { hear(); }},
    {"silent", [](auto &) { stay_silent(); }},
    {"say", [](auto &text) { put(STDOUT_FILENO, unescaped(text)); }},
    {"fill", [](auto &size) { put(STDOUT_FILENO, std::string(std::stoul(size), 'x')); }},
    {"flood", [](auto &size) { put(STDERR_FILENO, std::string(std::stoul(size), 'e')); }},
    {"spill", [](auto &) { spill(); }},
    {"close", [](auto &descriptor) { close(std::stoi(descriptor)); }},
    {"raise", [](auto &signal) { raise(std::stoi(signal)); }},
    {"stay", [](auto &) { stay(); }},
    {"leave", [](auto &) { leave(); }},
    {"exit", [](auto &status) { _exit(std::stoi(status)); }},
};

// One that is written down by its name only, or not at all if it is the one of the folder itself.
std::string open_file(const std::filesystem::path &descriptor)
{
    std::error_code gone;
    const auto file = std::filesystem::read_symlink(descriptor, gone);
    return gone || file.string().starts_with("/proc") ? std::string() : file.string();
}

void record(int argc, char **argv)
{
    std::ostringstream text;
    for (int i = 0; i < argc; ++i)
        text << "arg " << argv[i] << '\n';
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        if (const std::string file = open_file(entry.path()); !file.empty())
            text << "file " << file << '\n';
    }
    std::ofstream("/ubex/child") << text.str();
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
