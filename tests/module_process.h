// A module as a process of its own, and what the shell sends it. Only in a switch root.
#ifndef KIV_TESTS_MODULE_PROCESS_H
#define KIV_TESTS_MODULE_PROCESS_H

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <kiv/module.h>
#include <kiv/platform/cmi.h>

#include "lab/module/request.h"
#include "support/files.h"
#include "support/unique_fd.h"

namespace module_process {

using kiv::module::argument;

// Runs `serve` in a child, and goes on when its service access point is there.
class running {
public:
    running(uint32_t service, const std::function<int()> &serve)
    {
        const std::string address = "/run/kiv/FE000000-" + std::to_string(service);
        mkdir("/run/kiv", 0755);
        unlink(address.c_str()); // that of a module that was killed
        const kiv::support::unique_fd events(inotify_init1(IN_CLOEXEC));
        if (inotify_add_watch(events.get(), "/run/kiv", IN_MOVED_TO) < 0)
            abort();
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            _exit(serve());
        }
        char event[4096];
        while (access(address.c_str(), F_OK) != 0 && read(events.get(), event, sizeof event) > 0) {
        }
    }
    ~running() { end(SIGKILL); }
    running(const running &) = delete;
    running &operator=(const running &) = delete;

    int signal(int number) const { return kill(pid_, number); }

    // Returns the raw wait status.
    int end(int signal)
    {
        int status = 0;
        if (pid_ <= 0)
            return status;
        kill(pid_, signal);
        while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        pid_ = -1;
        return status;
    }

private:
    pid_t pid_ = -1;
};

struct response {
    uint32_t status = 0; // of the first answer; with the transport's errno where there is none
    int32_t result = 0;
    std::string output;
};

// One message and its answer, whose output is added. Returns how much of that is left.
inline uint32_t exchange(uint32_t service, uint32_t opcode, const std::string &payload,
                         response &into)
{
    void *reply = nullptr;
    auto size = static_cast<uint32_t>(payload.size());
    const int status =
        cmi_req_resp(opcode, CMI_MODE_CHANGE, payload.empty() ? nullptr : payload.data(), &reply,
                     &size, "", "", service, 0, 10);
    into.status =
        status == -1 ? 0x80540000U | static_cast<uint32_t>(errno) : static_cast<uint32_t>(status);
    const std::unique_ptr<void, decltype(&std::free)> block(reply, std::free);
    kiv::module::answer_head head{};
    if (size < sizeof head)
        return 0;
    std::memcpy(&head, reply, sizeof head);
    into.result = head.result;
    into.output.append(static_cast<const char *>(reply) + sizeof head, size - sizeof head);
    return head.remaining;
}

inline response fetch(uint32_t service, const std::string &request)
{
    response got;
    uint32_t left = exchange(service, kiv::module::message_run, request, got);
    while (left > 0 && got.status == 0)
        left = exchange(service, kiv::module::message_rest, "", got);
    return got;
}

template <class Value>
argument argument_of(uint32_t type, const Value &value)
{
    argument made;
    made.type = type;
    made.value.assign(reinterpret_cast<const char *>(&value), sizeof value);
    return made;
}

inline argument text_argument(uint32_t type, const std::string &text)
{
    argument made;
    made.type = type;
    made.value.assign(text.c_str(), text.size() + 1);
    return made;
}

inline argument vsan_number(int32_t number)
{
    return argument_of(TYPE_VSAN, number);
}

inline argument interface_name(uint32_t slot, uint32_t port)
{
    return argument_of(TYPE_INTERFACE, KIV_IFINDEX(0, slot, port));
}

// A command with the arguments of its mode, and its own; "no" in front of the function makes it
// that form.
inline response run(uint32_t service, std::string function, std::vector<argument> mode = {},
                    std::vector<argument> own = {})
{
    pinfo info{};
    info.submode_context = static_cast<int32_t>(mode.size());
    if (function.starts_with("no ")) {
        info.no_flag = 1;
        function.erase(0, 3);
    }
    mode.insert(mode.end(), own.begin(), own.end());
    return fetch(service, kiv::module::write_request(function, info, mode));
}

// The same from a process of another user.
inline response as_user(uid_t user, const std::function<response()> &ask)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        abort();
    const kiv::support::unique_fd from(ends[0]);
    kiv::support::unique_fd to(ends[1]);
    const pid_t child = fork();
    if (child == 0) {
        if (setgid(user) != 0 || setuid(user) != 0)
            _exit(1);
        const response got = ask();
        dprintf(to.get(), "%u %d\n%s", got.status, got.result, got.output.c_str());
        _exit(0);
    }
    to.close();
    std::string told;
    EXPECT_EQ(kiv::support::read_all(from.get(), size_t{1} << 30, told), 0);
    waitpid(child, nullptr, 0);
    response got;
    EXPECT_EQ(std::sscanf(told.c_str(), "%u %d", &got.status, &got.result), 2) << told;
    got.output = told.substr(told.find('\n') + 1);
    return got;
}

} // namespace module_process

#endif
