// kivd: the daemon of the shell.

#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include <fcntl.h>
#include <unistd.h>

#include "options.h"
#include "readiness.h"
#include "server.h"

namespace {

using namespace kivd;

// Where the shell looks for trees, too.
constexpr const char *tree_directory = "/ubex/etc/par";

constexpr int status_failed = 1;
constexpr int status_usage = 2;

bool open_missing_streams()
{
    for (int stream = 0; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", O_RDWR) != stream)
            return false;
    }
    return true;
}

int complain(const char *what, int error)
{
    std::fprintf(stderr, "kivd: %s: %s\n", what, std::strerror(error));
    return status_failed;
}

int serve(const options &chosen, background &behind)
{
    log_writer out;
    if (const int error = out.open(chosen.log_to); error != 0)
        return complain(chosen.log_to.c_str(), error);
    const auto served = std::make_unique<kivd::daemon>(
        chosen.state_directory, tree_directory,
        permissions(chosen.administrator, kiv::roles::users_file), out);
    server loop(*served, out);
    // The address comes first: of two daemons, the second one touches nothing.
    int error = loop.open();
    if (error != 0)
        return complain("cannot serve in /run/kiv", error);
    error = served->start();
    if (error == 0)
        error = loop.follow_processes();
    if (error != 0)
        return complain("cannot serve", error);
    out.write("serving");
    notify_ready();
    behind.done();
    error = loop.run();
    if (error != 0)
        return complain("stopped", error);
    out.write("ended");
    return 0;
}

int start(int argc, char **argv)
{
    options chosen;
    if (const std::string fault = read_options(argc, argv, chosen); !fault.empty()) {
        std::fprintf(stderr, "kivd: %s\n%s", fault.c_str(), usage_text);
        return status_usage;
    }
    if (chosen.help)
        return std::fputs(usage_text, stdout) < 0 ? status_failed : 0;
    background behind;
    if (!chosen.foreground) {
        if (const int error = behind.enter(); error != 0)
            return complain("cannot go into the background", error);
    }
    return serve(chosen, behind);
}

} // namespace

int main(int argc, char **argv)
try {
    if (!open_missing_streams())
        return status_failed;
    std::signal(SIGPIPE, SIG_IGN);
    // A file that gets too long is an error of write, as a full disk is.
    std::signal(SIGXFSZ, SIG_IGN);
    return start(argc, argv);
} catch (const std::bad_alloc &) {
    std::fputs("kivd: out of memory\n", stderr);
    return status_failed;
}
