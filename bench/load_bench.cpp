// How long the shell takes until it is ready, with a large tree.

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "processes.h"
#include "rounds.h"
#include "trees.h"

namespace {

constexpr const char *tree_path = "/ubex/etc/par/main_tree.par";

bool store(const trees::tree &tree)
{
    unlink(tree_path);
    std::FILE *file = std::fopen(tree_path, "we");
    if (file == nullptr)
        return false;
    const bool written = std::fwrite(tree.data(), sizeof tree[0], tree.size(), file) == tree.size();
    return std::fclose(file) == 0 && written;
}

// Runs a blank command line, or whatever else the program makes of it.
void run(const char *program)
{
    std::array<const char *, 4> arguments{program, "-c", "", nullptr};
    pid_t child = -1;
    int status = 0;
    if (posix_spawn(&child, program, nullptr, nullptr, const_cast<char **>(arguments.data()),
                    environ) != 0 ||
        waitpid(child, &status, 0) != child || status != 0)
        std::abort();
}

void read_once(size_t size)
{
    const std::unique_ptr<char[]> room(new char[size]);
    const int file = open(tree_path, O_RDONLY | O_CLOEXEC);
    if (read(file, room.get(), size) != static_cast<ssize_t>(size))
        std::abort();
    close(file);
}

void load(benchmark::State &state)
{
    if (!processes::is_in_switch_root(state))
        return;
    const trees::tree tree = trees::of_size(static_cast<size_t>(state.range(0)));
    if (!store(tree)) {
        state.SkipWithError("cannot store the tree");
        return;
    }
    rounds::measure(state, {{"shell", [] { run(SHELL_PROGRAM); }},
                            {"read_once", [&] { read_once(tree.size() * sizeof tree[0]); }},
                            {"trivial_process", [] { run(TRIVIAL_PROGRAM); }}});
}

BENCHMARK(load)
    ->Name("load/nodes")
    ->Arg(20000)
    ->Iterations(100)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
