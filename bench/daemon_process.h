// The daemon, as a process of a benchmark.
#ifndef KIV_BENCH_DAEMON_PROCESS_H
#define KIV_BENCH_DAEMON_PROCESS_H

#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include <poll.h>
#include <sys/syscall.h>

#include <kiv/kiv_process_api.h>
#include <kiv/platform/cmi.h>

#include "lab/kivd/status.h"
#include "processes.h"
#include "trees.h"

namespace processes {

constexpr uint32_t daemon_service = 37;

struct freed {
    void operator()(void *block) const { std::free(block); }
};

inline std::string ask(uint32_t opcode)
{
    void *reply = nullptr;
    uint32_t size = 0;
    expect(cmi_req_resp(opcode, CMI_MODE_QUERY, nullptr, &reply, &size, "", "", daemon_service, 0,
                        30) == 0);
    const std::unique_ptr<void, freed> block(reply);
    return {static_cast<const char *>(reply), size};
}

inline kivd::daemon_status status()
{
    kivd::daemon_status told;
    const std::string answer = ask(kivd::message_status);
    expect(answer.size() == sizeof told);
    std::memcpy(&told, answer.data(), sizeof told);
    return told;
}

// In the background: the command ends when the daemon serves.
class daemon_process {
public:
    daemon_process()
    {
        expect(program({KIVD_PATH, "--log", "/dev/null"}).wait() == 0);
        pid_ = status().pid;
        descriptor_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
        expect(descriptor_ >= 0);
    }
    daemon_process(const daemon_process &) = delete;
    daemon_process &operator=(const daemon_process &) = delete;
    ~daemon_process()
    {
        pollfd end{descriptor_, POLLIN, 0};
        kill(pid_, SIGTERM);
        poll(&end, 1, -1);
        close(descriptor_);
    }

    // Kilobytes.
    double resident_memory() const
    {
        std::ifstream text("/proc/" + std::to_string(pid_) + "/status");
        for (std::string word; text >> word;) {
            double size = 0;
            if (word == "VmRSS:" && text >> size)
                return size;
        }
        std::abort();
    }

private:
    pid_t pid_ = -1;
    int descriptor_ = -1;
};

inline std::string tree_path(const std::string &name)
{
    return "/ubex/etc/par/" + name + ".par";
}

// Where the daemon takes it from.
inline void store_tree(const std::string &name, const trees::tree &nodes)
{
    std::ofstream file(tree_path(name), std::ios::binary);
    file.write(reinterpret_cast<const char *>(nodes.data()),
               static_cast<std::streamsize>(nodes.size() * sizeof nodes[0]));
    file.close();
    expect(file.good());
}

// Trees of modules, registered by this process.
class contributed_trees {
public:
    static constexpr size_t nodes_of_each = 40;

    contributed_trees() = default;
    contributed_trees(const contributed_trees &) = delete;
    contributed_trees &operator=(const contributed_trees &) = delete;
    ~contributed_trees()
    {
        for (size_t module = 0; module < count_; ++module) {
            expect(kiv_deregister_parse_tree(0, name_of(module).c_str()) == 0);
            unlink(tree_path(name_of(module)).c_str());
        }
    }

    void grow_to(size_t count)
    {
        for (; count_ < count; ++count_)
            contribute(count_);
    }

private:
    static std::string name_of(size_t module) { return "bench-" + std::to_string(module); }

    static void contribute(size_t module)
    {
        trees::tree nodes(1);
        nodes[0].children[0] = 1;
        nodes[0].child_count = 1;
        // As many below each word of the first level as keep its place far from its limit.
        trees::print(nodes.emplace_back().token, "group-%zu", module / 16);
        nodes[1].children[0] = 2;
        nodes[1].child_count = 1;
        trees::print(nodes.emplace_back().token, "module-%zu", module);
        trees::grow(nodes, nodes_of_each, 0);
        store_tree(name_of(module), nodes);
        expect(kiv_register_parse_tree(0, name_of(module).c_str()) == 0);
    }

    size_t count_ = 0;
};

} // namespace processes

#endif
