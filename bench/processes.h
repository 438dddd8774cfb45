// Processes that take part in a benchmark, and what joins them to it.
#ifndef KIV_BENCH_PROCESSES_H
#define KIV_BENCH_PROCESSES_H

#include <array>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include <sched.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

namespace processes {

inline void expect(bool as_it_should_be)
{
    if (!as_it_should_be)
        std::abort();
}

inline bool is_in_switch_root(benchmark::State &state)
{
    if (std::getenv("KIV_SWITCH_ROOT") != nullptr)
        return true;
    state.SkipWithError("run it with script/switch-root");
    return false;
}

// This process and its children on one processor, for as long as this lives: to wake an idle one
// takes longer than an exchange.
class one_processor {
public:
    one_processor()
    {
        sched_getaffinity(0, sizeof before_, &before_);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<size_t>(sched_getcpu()), &one);
        sched_setaffinity(0, sizeof one, &one);
    }
    one_processor(const one_processor &) = delete;
    one_processor &operator=(const one_processor &) = delete;
    ~one_processor() { sched_setaffinity(0, sizeof before_, &before_); }

private:
    cpu_set_t before_{};
};

// A copy of this process that says when it is ready, and is killed at the end.
class server {
public:
    explicit server(const std::function<void(int ready)> &serve)
    {
        std::array<int, 2> ready{};
        expect(pipe(ready.data()) == 0);
        process_ = fork();
        if (process_ == 0) {
            close(ready[0]);
            serve(ready[1]);
            _exit(1);
        }
        close(ready[1]);
        char byte = 0;
        expect(read(ready[0], &byte, 1) == 1);
        close(ready[0]);
    }
    server(const server &) = delete;
    server &operator=(const server &) = delete;
    ~server()
    {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }

private:
    pid_t process_ = -1;
};

inline void say_ready(int ready)
{
    expect(write(ready, "", 1) == 1);
}

class pair_of_sockets {
public:
    explicit pair_of_sockets(int type)
    {
        expect(socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends_.data()) == 0);
    }
    pair_of_sockets(const pair_of_sockets &) = delete;
    pair_of_sockets &operator=(const pair_of_sockets &) = delete;
    ~pair_of_sockets()
    {
        close(ends_[0]);
        close(ends_[1]);
    }
    int operator[](size_t end) const { return ends_[end]; }

private:
    std::array<int, 2> ends_{};
};

// The least that a request and its answer between two processes can cost.
class bare_connection {
public:
    bare_connection(size_t request_size, size_t reply_size)
        : request_(request_size, 'q'), reply_(reply_size, 'a')
    {
    }

    void exchange()
    {
        expect(send(ends_[0], request_.data(), request_.size(), MSG_NOSIGNAL) ==
                   static_cast<ssize_t>(request_.size()) &&
               recv(ends_[0], reply_.data(), reply_.size(), 0) ==
                   static_cast<ssize_t>(reply_.size()));
    }

private:
    void serve()
    {
        while (recv(ends_[1], request_.data(), request_.size(), 0) ==
               static_cast<ssize_t>(request_.size()))
            expect(send(ends_[1], reply_.data(), reply_.size(), MSG_NOSIGNAL) ==
                   static_cast<ssize_t>(reply_.size()));
    }

    std::string request_;
    std::string reply_;
    pair_of_sockets ends_{SOCK_SEQPACKET};
    server server_{[this](int ready) {
        say_ready(ready);
        serve();
    }};
};

// A program, until the end of this. Its streams are this process's own, where `prepare` does not
// say otherwise.
class program {
public:
    using actions = posix_spawn_file_actions_t;

    explicit program(
        std::vector<std::string> words, short flags = 0,
        const std::function<void(actions *)> &prepare = [](actions *) {})
    {
        actions streams;
        posix_spawnattr_t attributes;
        posix_spawn_file_actions_init(&streams);
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, flags);
        prepare(&streams);
        std::vector<char *> vector;
        vector.reserve(words.size() + 1);
        for (std::string &word : words)
            vector.push_back(word.data());
        vector.push_back(nullptr);
        expect(posix_spawn(&process_, vector[0], &streams, &attributes, vector.data(), environ) ==
               0);
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&streams);
    }
    program(const program &) = delete;
    program &operator=(const program &) = delete;
    ~program()
    {
        if (process_ > 0)
            kill(process_, SIGTERM);
        wait();
    }

    // Returns its status, once it has ended.
    int wait()
    {
        int status = 0;
        if (process_ > 0)
            waitpid(process_, &status, 0);
        process_ = -1;
        return status;
    }

private:
    pid_t process_ = -1;
};

} // namespace processes

#endif
