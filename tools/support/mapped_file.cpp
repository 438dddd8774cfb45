#include "support/mapped_file.h"

#include <atomic>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include "support/characters.h"
#include "support/files.h"
#include "support/unique_fd.h"

namespace kiv::support {

// Mappings are in a list from the moment they are complete, for the handler of SIGBUS to find.
struct mapping {
    mapping(const char *begin, size_t size, std::string_view name);
    ~mapping();
    mapping(const mapping &) = delete;
    mapping &operator=(const mapping &) = delete;

    const char *const begin;
    const size_t size;
    const std::string message; // made here: the handler must not allocate
    std::atomic<mapping *> next;
};

namespace {

std::atomic<mapping *> mappings;
static_assert(std::atomic<mapping *>::is_always_lock_free, "the handler of a signal reads it");

struct sigaction previous_action;

const mapping *find_mapping(const void *address)
{
    const auto at = reinterpret_cast<uintptr_t>(address);
    const mapping *found = mappings;
    while (found != nullptr && at - reinterpret_cast<uintptr_t>(found->begin) >= found->size)
        found = found->next;
    return found;
}

// A fault comes again after the return, and meets the action that is set by then; a signal that
// was sent does not.
void on_bus_error(int signal, siginfo_t *info, void *)
{
    const bool is_fault = info->si_code > 0;
    const mapping *cut = is_fault ? find_mapping(info->si_addr) : nullptr;
    if (cut != nullptr) {
        [[maybe_unused]] const ssize_t written =
            write(STDERR_FILENO, cut->message.data(), cut->message.size());
        _exit(1);
    }
    sigaction(signal, &previous_action, nullptr);
    if (!is_fault)
        raise(signal);
}

void guard_mappings()
{
    static const bool guarded = [] {
        struct sigaction action {};
        action.sa_sigaction = on_bus_error;
        action.sa_flags = SA_SIGINFO;
        return sigaction(SIGBUS, &action, &previous_action) == 0;
    }();
    static_cast<void>(guarded);
}

} // namespace

mapping::mapping(const char *where, size_t length, std::string_view name)
    : begin(where), size(length), message(std::string(program_invocation_short_name) + ": " +
                                          printable(name) + ": was cut while in use\n"),
      next(mappings.load())
{
    guard_mappings();
    mappings = this;
}

mapping::~mapping()
{
    std::atomic<mapping *> *link = &mappings;
    while (*link != this)
        link = &link->load()->next;
    *link = next.load();
    munmap(const_cast<char *>(begin), size);
}

mapped_file::mapped_file() = default;
mapped_file::mapped_file(mapped_file &&other) noexcept = default;
mapped_file &mapped_file::operator=(mapped_file &&other) noexcept = default;
mapped_file::~mapped_file() = default;

int mapped_file::open(const char *path, size_t limit)
{
    mapping_.reset();
    copy_.clear();
    const int error = take(path, limit);
    if (error != 0)
        copy_.clear();
    return error;
}

int mapped_file::take(const char *path, size_t limit)
{
    // The shell's redirection may have left standard input anywhere in its file.
    if (std::string_view(path) == "-")
        return read_all(STDIN_FILENO, limit, copy_);
    const unique_fd file(::open(path, O_RDONLY | O_CLOEXEC));
    struct stat status;
    if (!file || fstat(file.get(), &status) != 0)
        return errno;
    // Files of the kernel have content and the size 0.
    if (!S_ISREG(status.st_mode) || status.st_size == 0)
        return read_all(file.get(), limit, copy_);
    if (static_cast<uintmax_t>(status.st_size) > limit)
        return EFBIG;
    const int error = map(file.get(), static_cast<size_t>(status.st_size), path);
    return error == ENODEV ? read_all(file.get(), limit, copy_) : error;
}

int mapped_file::map(int descriptor, size_t size, const char *path)
{
    void *begin = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, descriptor, 0);
    if (begin == MAP_FAILED)
        return errno;
    mapping_ = std::make_unique<mapping>(static_cast<const char *>(begin), size, path);
    return 0;
}

std::string_view mapped_file::bytes() const
{
    if (mapping_)
        return {mapping_->begin, mapping_->size};
    return copy_;
}

} // namespace kiv::support
