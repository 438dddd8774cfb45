// Stands in for the shell program: writes down how it was started, then does what the test asks
// for in RECORDER_PLAN ("exit N", "signal N", "wait FIFO").

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

void record(int argc, char **argv)
{
    std::ofstream out("/ubex/recorded");
    for (int i = 0; i < argc; ++i)
        out << '[' << argv[i] << ']';
    sigset_t blocked;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGALRM, SIGCHLD, SIGTSTP}) {
        if (sigismember(&blocked, signal) == 1)
            out << " blocked " << sigabbrev_np(signal);
    }
}

// Returns once somebody has written into the fifo, or closed it.
void await(const std::string &fifo)
{
    std::array<char, 1> byte;
    const int descriptor = open(fifo.c_str(), O_RDONLY);
    if (descriptor < 0 || read(descriptor, byte.data(), byte.size()) < 0)
        std::perror("recorder");
    close(descriptor);
}

} // namespace

int main(int argc, char **argv)
{
    record(argc, argv);
    std::printf("recorder output\n");
    std::fflush(stdout);
    std::fprintf(stderr, "recorder error\n");
    const char *plan = std::getenv("RECORDER_PLAN");
    const std::string text = plan == nullptr ? "exit 0" : plan;
    const std::string operand = text.substr(text.find(' ') + 1);
    if (text.starts_with("signal")) {
        std::signal(SIGINT, SIG_DFL);
        std::raise(std::stoi(operand));
    }
    if (text.starts_with("wait"))
        await(operand);
    return text.starts_with("exit") ? std::stoi(operand) : 0;
}
