// kiv: the command-line shell.

#include <csignal>
#include <cstdio>
#include <new>
#include <stdexcept>

#include <fcntl.h>

#include "at_terminal.h"
#include "command_session.h"
#include "daemon_link.h"
#include "files.h"
#include "followed_tree.h"
#include "options.h"
#include "run.h"
#include "session.h"
#include "store.h"

namespace {

using namespace kiv_shell;

constexpr const char *store_directory = "/ubex/cfg";

// A closed stream would be the next file that is opened, and the configuration might be written
// over by a message. There is nothing to read from what stands in for it, and writing fails.
bool open_missing_streams()
{
    for (int stream = 0; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", O_RDONLY) != stream)
            return false;
    }
    return true;
}

int print_usage()
{
    const int error = write_all(STDOUT_FILENO, usage_text);
    if (error != 0)
        complain(system_failure("standard output", error));
    return error == 0 ? status_done : status_failed;
}

int start(int argc, char **argv)
{
    options chosen;
    if (const failure failed = read_options(argc, argv, chosen)) {
        complain(*failed + "; kiv --help tells the usage");
        return status_unusable;
    }
    if (chosen.help)
        return print_usage();
    daemon_link daemon;
    if (!daemon.is_there() && isatty(STDIN_FILENO) == 1 && chosen.quiet == 0)
        complain("no daemon: using the default command tree, without roles");
    followed_tree tree(daemon);
    if (const failure failed = tree.open()) {
        complain(*failed);
        return status_unusable;
    }
    configuration_store store(store_directory);
    if (chosen.input == input_kind::session)
        return run_command_session(chosen, tree, store, daemon);
    session shell(chosen, tree.view(), store, standard_streams());
    shell.take_part(daemon, tree);
    const bool is_typed = chosen.input == input_kind::standard_input && isatty(STDIN_FILENO) == 1;
    return is_typed ? run_at_terminal(shell) : run(shell);
}

} // namespace

int main(int argc, char **argv)
try {
    if (!open_missing_streams())
        return status_unusable;
    // A reader that has gone is an error of write, so that no message ends the shell.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // as is a file that may not grow
    return start(argc, argv);
} catch (const std::bad_alloc &) {
    std::fputs("kiv: out of memory\n", stderr);
    return status_failed;
} catch (const std::length_error &) {
    std::fputs("kiv: out of memory\n", stderr);
    return status_failed;
}
