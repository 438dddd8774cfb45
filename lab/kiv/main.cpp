// kiv: the command-line shell.

#include <cstdio>
#include <new>
#include <stdexcept>

#include <fcntl.h>

#include "files.h"
#include "options.h"
#include "run.h"
#include "session.h"
#include "store.h"
#include "tree.h"

namespace {

using namespace kiv_shell;

constexpr const char *tree_path = "/ubex/etc/par/main_tree.par";
constexpr const char *store_directory = "/ubex/cfg";

// A closed stream would be the next file that is opened, and the configuration might be written
// over by a message.
void open_missing_streams()
{
    for (int stream = 0; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) < 0)
            open("/dev/null", O_RDWR);
    }
}

int start(int argc, char **argv)
{
    options chosen;
    if (const failure failed = read_options(argc, argv, chosen)) {
        complain(*failed + "; kiv --help tells the usage");
        return status_unusable;
    }
    if (chosen.help)
        return write_all(STDOUT_FILENO, usage_text) == 0 ? status_done : status_failed;
    tree_file tree;
    if (const failure failed = tree.open(tree_path)) {
        complain(*failed);
        return status_unusable;
    }
    const tree_view view = tree.view();
    const configuration_store store(store_directory);
    session shell(chosen, view, store, {STDOUT_FILENO, STDERR_FILENO});
    return run(shell);
}

} // namespace

int main(int argc, char **argv)
try {
    open_missing_streams();
    return start(argc, argv);
} catch (const std::bad_alloc &) {
    std::fputs("kiv: out of memory\n", stderr);
    return status_failed;
} catch (const std::length_error &) {
    std::fputs("kiv: out of memory\n", stderr);
    return status_failed;
}
