#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>

#include <kiv/kivd_lib.h>

#include <poll.h>
#include <sys/signalfd.h>

#include "service.h"

struct kiv_module : kiv::module::service {
    using service::service;
};

namespace {

using kiv::module::function_size;
using kiv::support::unique_fd;

constexpr size_t name_size = sizeof kiv_tree_table_entry::module_id;
constexpr size_t feature_size = sizeof kivd_perm_group_conf_entry::feature;
constexpr uint32_t lowest_service = 256;
constexpr uint32_t highest_service = 65535;

bool is_text(const char *text, size_t size)
{
    return text != nullptr && *text != '\0' && std::strlen(text) < size;
}

bool is_valid(const kiv_module_description &description)
{
    if (!is_text(description.name, name_size) || description.service < lowest_service ||
        description.service > highest_service || description.commands == nullptr)
        return false;
    for (const kiv_module_command *row = description.commands; row->function != nullptr; ++row) {
        if (!is_text(row->function, function_size) || row->run == nullptr ||
            (row->feature != nullptr && !is_text(row->feature, feature_size)))
            return false;
    }
    return description.interface_mask == 0 ||
           (description.interface_type != nullptr && description.interface_type->name != nullptr);
}

// A thrown exception is a lack of memory.
template <class Work>
int error_of(Work work)
{
    try {
        return work();
    } catch (const std::exception &) {
        return ENOMEM;
    }
}

int open_module(const kiv_module_description *description, std::unique_ptr<kiv_module> &opened)
{
    if (description == nullptr || !is_valid(*description))
        return EINVAL;
    opened = std::make_unique<kiv_module>(*description);
    return opened->open();
}

// A descriptor that tells of the signals that end the process, which are blocked from then on.
unique_fd end_signals()
{
    sigset_t taken;
    sigemptyset(&taken);
    sigaddset(&taken, SIGTERM);
    sigaddset(&taken, SIGINT);
    if (sigprocmask(SIG_BLOCK, &taken, nullptr) != 0)
        return {};
    return unique_fd(signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK));
}

int serve_until(const unique_fd &end, kiv_module &module)
{
    for (;;) {
        kiv::module::service::sources ready = module.waited_for();
        std::array<pollfd, ready.size() + 1> waiting{{{end.get(), POLLIN, 0}}};
        std::ranges::copy(ready, waiting.begin() + 1);
        if (poll(waiting.data(), waiting.size(), -1) < 0) {
            if (errno != EINTR)
                return errno;
            continue;
        }
        if (waiting[0].revents != 0)
            return 0;
        std::copy(waiting.begin() + 1, waiting.end(), ready.begin());
        if (const int error = module.serve(ready); error != 0)
            return error;
    }
}

int complain(const kiv_module_description *description, const char *what, int error)
{
    const char *name = description == nullptr ? nullptr : description->name;
    std::fprintf(stderr, "%s: %s: %s\n", name == nullptr ? "module" : name, what,
                 std::strerror(error));
    return 1;
}

int complain_of_service(const kiv_module_description *description, int error)
{
    std::array<char, 64> what{"is not described"};
    if (description != nullptr)
        std::snprintf(what.data(), what.size(),
                      "cannot open the service access point %u in /run/kiv", description->service);
    return complain(description, what.data(), error);
}

} // namespace

kiv_module *kiv_module_open(const kiv_module_description *description) noexcept
{
    std::unique_ptr<kiv_module> opened;
    const int error = error_of([&] { return open_module(description, opened); });
    if (error == 0)
        return opened.release();
    opened.reset();
    errno = error;
    return nullptr;
}

int kiv_module_descriptor(const kiv_module *module) noexcept
{
    return module->descriptor();
}

int kiv_module_serve(kiv_module *module) noexcept
{
    const int error = error_of([&] { return module->serve(); });
    // What there was no memory for can be tried again.
    if (error == 0 || error == ENOMEM)
        return 0;
    errno = error;
    return -1;
}

void kiv_module_close(kiv_module *module) noexcept
{
    const std::unique_ptr<kiv_module> closed(module);
    if (closed != nullptr)
        error_of([&] {
            closed->withdraw();
            return 0;
        });
}

int kiv_module_run(const kiv_module_description *description) noexcept
{
    // A write that fails for these is answered by its error.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const unique_fd end = end_signals();
    if (!end)
        return complain(description, "cannot wait for signals", errno);
    // Nothing is withdrawn: the process ends, and may be started again.
    const std::unique_ptr<kiv_module> module(kiv_module_open(description));
    if (module == nullptr)
        return complain_of_service(description, errno);
    const int error = error_of([&] { return serve_until(end, *module); });
    return error == 0 ? 0 : complain(description, "cannot serve", error);
}
