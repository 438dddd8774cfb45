#include <cerrno>
#include <cstring>
#include <string>

#include <sys/wait.h>

#include <kiv/parfile.h>

#include "commands.h"
#include "report.h"
#include "support/published_trees.h"
#include "tree_files.h"
#include "tree_jobs.h"

namespace kivctl {

namespace {

// The library's; it acts on these alone.
constexpr const char *default_tree = "/ubex/etc/par/default/main_tree.par";
constexpr const char *zipped_default_tree = "/ubex/etc/par/default/main_tree.par.gz";

std::string gzip_problem(int32_t raw_status)
{
    if (WIFSIGNALED(raw_status))
        return "gzip was ended by signal " + std::to_string(WTERMSIG(raw_status));
    return "gzip ended with status " + std::to_string(WEXITSTATUS(raw_status));
}

} // namespace

int publish_tree(const tree_request &request)
{
    tree_file tree;
    if (const int status = tree.open_sound_copy(request.file); status != done)
        return status;
    const char *directory =
        request.directory != nullptr ? request.directory : kiv::support::published_directory;
    std::string name;
    if (const int error = kiv::support::publish_tree(directory, tree.bytes(), name); error != 0)
        return fail(directory, std::strerror(error));
    return print(name + '\n');
}

int zip_tree(const tree_request &)
{
    errno = 0;
    const int32_t status = kiv_default_parse_tree_zip();
    if (status < 0)
        return fail(default_tree, errno != 0 ? std::strerror(errno) : "could not be compressed");
    if (status > 0)
        return fail(default_tree, gzip_problem(status));
    return print(std::string(zipped_default_tree) + '\n');
}

int unzip_tree(const tree_request &)
{
    if (kiv_default_parse_tree_unzip() != 0)
        return fail(zipped_default_tree, "could not be expanded");
    return print(std::string(default_tree) + '\n');
}

} // namespace kivctl
