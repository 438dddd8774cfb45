#include "tree/picture.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/files.h"
#include "support/unique_fd.h"

namespace kiv::tree {

using support::unique_fd;

namespace {

constexpr const char *not_installed = "dot (package graphviz) is not installed";

// Far beyond the picture of the largest tree.
constexpr size_t longest_svg = size_t{1} << 30;

// How a program ends that there turned out not to be, where the start itself cannot tell.
constexpr int cannot_execute = 127;

class file_actions {
public:
    file_actions() { posix_spawn_file_actions_init(&actions_); }
    ~file_actions() { posix_spawn_file_actions_destroy(&actions_); }
    file_actions(const file_actions &) = delete;
    file_actions &operator=(const file_actions &) = delete;

    int put(const unique_fd &descriptor, int place)
    {
        return posix_spawn_file_actions_adddup2(&actions_, descriptor.get(), place);
    }
    const posix_spawn_file_actions_t *get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

// The graph as a file without a name: dot reads it at its own pace, and there is only one pipe to
// attend to.
int open_graph(std::string_view graph, unique_fd &file)
{
    file = unique_fd(memfd_create("graph", MFD_CLOEXEC));
    if (!file)
        return errno;
    if (const int error = support::write_all(file.get(), graph); error != 0)
        return error;
    return lseek(file.get(), 0, SEEK_SET) == 0 ? 0 : errno;
}

int start_dot(const unique_fd &input, const unique_fd &output, pid_t &child)
{
    file_actions actions;
    if (const int error = actions.put(input, STDIN_FILENO); error != 0)
        return error;
    if (const int error = actions.put(output, STDOUT_FILENO); error != 0)
        return error;
    std::array<char, 4> program{"dot"};
    std::array<char, 6> form{"-Tsvg"};
    const std::array<char *, 3> words{program.data(), form.data(), nullptr};
    return posix_spawnp(&child, program.data(), actions.get(), nullptr, words.data(), environ);
}

int wait_for(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return status;
}

std::string problem_of(int status)
{
    if (WIFSIGNALED(status))
        return "dot was ended by signal " + std::to_string(WTERMSIG(status));
    if (status == -1)
        return "dot: its status is lost";
    const int code = WEXITSTATUS(status);
    if (code == cannot_execute)
        return not_installed;
    return code == 0 ? std::string() : "dot ended with status " + std::to_string(code);
}

} // namespace

std::string draw_svg(std::string_view graph, std::string &svg)
{
    const auto problem = [](int error) { return std::string("dot: ") + std::strerror(error); };
    unique_fd input;
    if (const int error = open_graph(graph, input); error != 0)
        return problem(error);
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        return problem(errno);
    unique_fd output(ends[0]);
    unique_fd end_of_dot(ends[1]);
    pid_t child = -1;
    if (const int error = start_dot(input, end_of_dot, child); error != 0)
        return error == ENOENT ? not_installed : problem(error);
    end_of_dot.close();
    const int error = support::read_all(output.get(), longest_svg, svg);
    output.close();
    const int status = wait_for(child);
    return error != 0 ? problem(error) : problem_of(status);
}

} // namespace kiv::tree
