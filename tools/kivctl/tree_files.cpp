#include "tree_files.h"

#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#include "commands.h"
#include "report.h"
#include "support/files.h"
#include "support/tree_fault.h"

namespace kivctl {

namespace {

// Twice what a tree may have: up to there the check says what is wrong, beyond it this is no tree.
constexpr size_t longest_file = sizeof(kiv_array_tree_node) * KIV_TREE_MAX_NODES * 2;

} // namespace

int tree_file::open(const char *path)
{
    const int error = file_.open(path, longest_file);
    return error == 0 ? done : fail(path, std::strerror(error));
}

int tree_file::open_sound(const char *path)
{
    const int status = open(path);
    return status == done ? refuse_faults(path) : status;
}

int tree_file::open_sound_copy(const char *path)
{
    if (const int status = open(path); status != done)
        return status;
    copy_ = file_.bytes();
    return refuse_faults(path);
}

int tree_file::refuse_faults(const char *path) const
{
    const kiv_tree_check_result found = check();
    return found.fault == KIV_TREE_SOUND ? done : fail(path, kiv::support::tree_fault(found));
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
