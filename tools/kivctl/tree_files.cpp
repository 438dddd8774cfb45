#include "tree_files.h"

#include <cstdio>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#include "commands.h"
#include "report.h"
#include "support/files.h"
#include "support/tree_fault.h"

namespace kivctl {

namespace {

// One node more than is allowed, so that the check can say so.
constexpr size_t longest_tree = (KIV_TREE_MAX_NODES + 1) * sizeof(kiv_array_tree_node);

} // namespace

int tree_file::open(const char *path)
{
    const int error = file_.open(path, longest_tree);
    return error == 0 ? done : fail(path, std::strerror(error));
}

int tree_file::open_sound(const char *path)
{
    if (const int status = open(path); status != done)
        return status;
    const kiv_tree_check_result found = check();
    if (found.fault == KIV_TREE_SOUND)
        return done;
    std::fprintf(stderr, "%s: %s\n", path, kiv::support::tree_fault(found).c_str());
    return failed;
}

kiv_tree_check_result tree_file::check() const
{
    kiv_tree_check_result found;
    kiv_tree_check(bytes().data(), bytes().size(), &found);
    return found;
}

kiv::grammar::tree_records tree_file::records() const
{
    const auto *nodes = reinterpret_cast<const kiv_array_tree_node *>(bytes().data());
    return kiv::grammar::tree_records({nodes, node_count()});
}

std::string node_count_text(size_t count)
{
    return std::to_string(count) + (count == 1 ? " node" : " nodes");
}

bool are_one_file(const char *source, const char *output)
{
    struct stat read;
    struct stat written;
    const int found =
        std::string_view(source) == "-" ? fstat(STDIN_FILENO, &read) : stat(source, &read);
    return found == 0 && S_ISREG(read.st_mode) && stat(output, &written) == 0 &&
           read.st_dev == written.st_dev && read.st_ino == written.st_ino;
}

int deliver(std::string_view text, const char *output, const char *source, const char *role)
{
    if (output == nullptr)
        return print(text);
    if (are_one_file(source, output))
        return fail(output, std::string("is the ") + role + " itself");
    const int error = kiv::support::replace_file(output, text);
    return error == 0 ? done : fail(output, std::strerror(error));
}

} // namespace kivctl
