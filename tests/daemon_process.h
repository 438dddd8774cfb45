// The daemon as a process of its own, and processes that talk to it. Only in a switch root.
#ifndef KIV_TESTS_DAEMON_PROCESS_H
#define KIV_TESTS_DAEMON_PROCESS_H

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <kiv/platform/cmi.h>

#include "lab/kivd/status.h"
#include "support/files.h"
#include "support/unique_fd.h"
#include "switch_root.h"
#include "trees.h"

namespace daemon_process {

struct freed {
    void operator()(void *block) const { std::free(block); }
};

struct answer {
    int status; // -1: none, with errno
    std::unique_ptr<void, freed> payload;
    uint32_t size;
};

inline answer ask(uint32_t opcode, const void *payload = nullptr, uint32_t size = 0,
                  uint32_t service = 37)
{
    void *reply = nullptr;
    uint32_t length = size;
    const int status = cmi_req_resp(opcode, size == 0 ? CMI_MODE_QUERY : CMI_MODE_CHANGE, payload,
                                    &reply, &length, "", "", service, 0, 30);
    return {status, std::unique_ptr<void, freed>(reply), length};
}

inline kivd::daemon_status status()
{
    kivd::daemon_status told{};
    const answer given = ask(kivd::message_status);
    EXPECT_EQ(given.size, sizeof told);
    if (given.size == sizeof told)
        std::memcpy(&told, given.payload.get(), sizeof told);
    return told;
}

constexpr const char *tree_directory = "/ubex/etc/par/";

inline void write_tree(const std::string &name, const trees::tree &nodes)
{
    switch_root::write_file(
        tree_directory + name + ".par",
        std::string(reinterpret_cast<const char *>(nodes.data()), nodes.size() * sizeof nodes[0]));
}

// The keywords, each a command of this function.
inline void write_commands(const std::string &name, const std::vector<std::string> &keywords,
                           const std::string &function)
{
    trees::tree nodes = trees::of_nodes(keywords.size() + 1);
    for (size_t i = 1; i < nodes.size(); ++i) {
        trees::add_child(nodes, 0, static_cast<uint16_t>(i));
        trees::put(nodes[i].token, keywords[i - 1]);
        trees::put(nodes[i].func_id, function);
        nodes[i].action = KIV_ACTION_TERMINAL;
    }
    write_tree(name, nodes);
}

inline bool is_root_made_by(std::string_view tool)
{
    const char *known = std::getenv("KIV_ROOT_TOOL");
    return known != nullptr && known == tool;
}

// Whether root can be another user for a while, who then reaches the files of the switch root:
// those that proot shows stand in a folder of its owner only.
inline bool is_other_user_possible()
{
    return geteuid() == 0 && is_root_made_by("bwrap");
}

// The same, and the programs that have been built, which may stand where nobody else gets to.
inline bool is_shell_of_other_user_possible(uid_t user)
{
    if (!is_other_user_possible())
        return false;
    const pid_t child = fork();
    if (child == 0)
        _exit(setuid(user) == 0 && access(KIVD_PATH, X_OK) == 0 ? 0 : 1);
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

// Of processes that proot traces, not at once.
inline bool is_stopping_possible()
{
    return !is_root_made_by("proot");
}

class test : public testing::Test {
protected:
    void SetUp() override
    {
        switch_root::require();
        std::signal(SIGPIPE, SIG_IGN);
    }
};

// Its log goes to a pipe, on which tests wait for what they expect.
class running {
public:
    // With a lower limit of a resource, if it is not 0.
    explicit running(std::vector<std::string> options = {},
                     decltype(RLIMIT_NOFILE) resource = RLIMIT_NOFILE, rlim_t limit = 0)
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            abort();
        log_ = kiv::support::unique_fd(ends[0]);
        const kiv::support::unique_fd other(ends[1]);
        std::vector<char *> argv;
        argv.reserve(options.size() + 3);
        options.insert(options.begin(), {KIVD_PATH, "--foreground"});
        for (std::string &option : options)
            argv.push_back(option.data());
        argv.push_back(nullptr);
        pid_ = fork();
        if (pid_ == 0) {
            rlimit limits{};
            getrlimit(resource, &limits);
            limits.rlim_cur = limit;
            if (limit != 0)
                setrlimit(resource, &limits);
            dup2(other.get(), STDERR_FILENO);
            execv(KIVD_PATH, argv.data());
            _exit(127);
        }
    }
    ~running() { end(SIGKILL); }
    running(const running &) = delete;
    running &operator=(const running &) = delete;

    pid_t pid() const { return pid_; }

    // Reads on in the log until there is a line with this text, and returns it; empty, and a failed
    // test, when the daemon has ended before.
    std::string wait_for(const std::string &text)
    {
        for (;;) {
            const size_t newline = unread_.find('\n');
            if (newline != std::string::npos) {
                std::string line = unread_.substr(0, newline);
                unread_.erase(0, newline + 1);
                if (line.find(text) != std::string::npos)
                    return line;
                seen_ += line + "\n";
                continue;
            }
            char piece[512];
            const ssize_t count = kiv::support::read_some(log_.get(), piece, sizeof piece);
            if (count <= 0) {
                ADD_FAILURE() << "no line with \"" << text << "\" in the log:\n"
                              << seen_ << (count < 0 ? strerror(errno) : "its end, status ")
                              << (count < 0 ? 0 : end(0));
                return {};
            }
            unread_.append(piece, static_cast<size_t>(count));
        }
    }

    void serves() { wait_for("serving"); }

    // Returns the raw wait status; of a daemon that has ended, that of then.
    int end(int signal)
    {
        if (pid_ <= 0)
            return status_;
        kill(pid_, signal);
        while (waitpid(pid_, &status_, 0) < 0 && errno == EINTR) {
        }
        pid_ = -1;
        return status_;
    }

private:
    pid_t pid_ = -1;
    int status_ = 0;
    kiv::support::unique_fd log_;
    std::string unread_;
    std::string seen_;
};

class serving : public running {
public:
    explicit serving(std::vector<std::string> options = {}) : running(std::move(options))
    {
        serves();
    }
};

// A process that does its work, says so, and lives until it is told otherwise.
class living {
public:
    explicit living(const std::function<int()> &work)
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            abort();
        const kiv::support::unique_fd from(ends[0]);
        kiv::support::unique_fd to(ends[1]);
        pid_ = fork();
        if (pid_ == 0) {
            const int result = work();
            if (write(to.get(), &result, sizeof result) != sizeof result)
                _exit(1);
            for (;;)
                pause();
        }
        to.close();
        if (read(from.get(), &result_, sizeof result_) != sizeof result_)
            ADD_FAILURE() << "the process has ended";
    }
    ~living() { end(); }
    living(const living &) = delete;
    living &operator=(const living &) = delete;

    int result() const { return result_; }

    void end()
    {
        if (pid_ <= 0)
            return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    pid_t pid_ = -1;
    int result_ = -1;
};

// A user who may not change what the daemon keeps. As root, another one than the test's.
struct stranger {
    uid_t user = geteuid() == 0 ? 65534 : geteuid();
    bool is_possible = geteuid() != 0 || is_other_user_possible();
    std::vector<std::string> options{"--administrator", std::to_string(user + 1)};

    int result_of(const std::function<int()> &work) const
    {
        const living process(
            [&] { return setresuid(user, user, user) == 0 ? work() : EXIT_FAILURE; });
        return process.result();
    }
};

} // namespace daemon_process

#endif
