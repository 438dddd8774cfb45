#include "tree.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <kiv/extras.h>

#include "files.h"
#include "support/tree_fault.h"

namespace kiv_shell {

namespace {

failure check(const std::string &name, const void *content, size_t size)
{
    kiv_tree_check_result found;
    if (kiv_tree_check(content, size, &found) == 0)
        return {};
    return name + ": " + kiv::support::tree_fault(found);
}

} // namespace

std::optional<node_index> tree_view::mode_of_function(std::string_view function) const
{
    for (node_index index = 0; index < count_; ++index) {
        if (enters_mode(index) && this->function(index) == function)
            return index;
    }
    return {};
}

tree_file::~tree_file()
{
    if (content_ != nullptr)
        munmap(content_, size_);
}

failure tree_file::open(const std::string &name)
{
    const unique_fd file(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status;
    if (!file || fstat(file.get(), &status) != 0)
        return system_failure(name, errno);
    if (!S_ISREG(status.st_mode))
        return name + ": not a regular file";
    const auto size = static_cast<size_t>(status.st_size);
    if (size == 0)
        return check(name, nullptr, 0);
    void *content = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.get(), 0);
    if (content == MAP_FAILED)
        return system_failure(name, errno);
    content_ = content;
    size_ = size;
    return check(name, content_, size_);
}

tree_view tree_file::view() const
{
    return {static_cast<const kiv_array_tree_node *>(content_),
            size_ / sizeof(kiv_array_tree_node)};
}

} // namespace kiv_shell
