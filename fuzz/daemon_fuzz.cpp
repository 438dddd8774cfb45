// Whatever messages come, of whatever size and from whomever: the daemon's tables stay sound and
// are the same after a restart, its answers can be sent, and what fails changes nothing.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include <kiv/extras.h>

#include "lab/kivd/daemon.h"
#include "require.h"

namespace {

using fuzz::require;

using kivd::access_point;

// With the size of its payload, and the access point where it is served.
struct known_message {
    uint32_t opcode;
    uint16_t size;
    uint8_t where;
};

constexpr uint16_t role_size = sizeof(kivd_perm_group_conf_cli_wrapper);

// Inputs in the corpus speak of places in this list.
constexpr known_message known_messages[] = {
    {900, 608, 1}, {901, 8, 1}, {905, 0, 1},   {911, 880, 1}, {912, 0, 1},   {913, 880, 1},
    {914, 880, 1}, {916, 0, 1}, {917, 128, 2}, {919, 880, 1}, {935, 128, 1}, {936, 128, 1},
    {937, 0, 1},   {938, 0, 1}, {940, 8, 4},   {943, 0, 2},   {944, 0, 2},   {946, 0, 1},
    {947, 12, 1},  {948, 0, 1}, {7655, 88, 1}, {7656, 88, 1}, {7658, 0, 1},  {7661, 128, 1},
    {8000, 0, 1},  {8001, 0, 1}};

constexpr uid_t administrator = 4000;
constexpr uid_t with_role = 4001;
constexpr uid_t stranger = 4002;
const auto own_pid = static_cast<uint32_t>(getpid());

// On a file system in memory, if there is one: the daemon waits for the disk at each change.
std::string folder = "/tmp/kivd_fuzz.XXXXXX";

void write(const std::string &name, const std::string &content)
{
    std::ofstream(folder + name, std::ios::binary) << content;
}

std::string tree_of(const char *token, const char *function)
{
    std::array<kiv_array_tree_node, 2> nodes{};
    nodes[0].children[0] = 1;
    nodes[0].child_count = 1;
    std::snprintf(nodes[1].token, sizeof nodes[1].token, "%s", token);
    std::snprintf(nodes[1].func_id, sizeof nodes[1].func_id, "%s", function);
    nodes[1].action = KIV_ACTION_TERMINAL;
    return {reinterpret_cast<const char *>(nodes.data()), sizeof nodes};
}

// Takes the input apart from its front; behind its end there are zeros.
struct reader {
    std::span<const uint8_t> left;

    void take_bytes(void *to, size_t size)
    {
        const size_t there = std::min(size, left.size());
        std::memset(to, 0, size);
        std::memcpy(to, left.data(), there);
        left = left.subspan(there);
    }

    template <class Number>
    Number take()
    {
        Number number{};
        take_bytes(&number, sizeof number);
        return number;
    }
};

struct message {
    uint32_t opcode;
    access_point where;
    ovra_peer sender;
    std::vector<std::byte> payload;
};

// Bits of a message's second byte.
enum flag : uint8_t {
    other_opcode = 1,
    other_place = 2,
    other_size = 4,
    of_role = 8, // begins as a change of the role "r"
    who = 0x30,
    by_ended = 0x40
};

void fill(std::vector<std::byte> &payload, reader &input)
{
    constexpr size_t most_patches = 8;
    constexpr size_t longest_patch = 64;
    const size_t patches = input.take<uint8_t>() % most_patches;
    for (size_t i = 0; i < patches; ++i) {
        const size_t offset = std::min<size_t>(input.take<uint16_t>(), payload.size());
        std::array<uint8_t, longest_patch> bytes{};
        const size_t length = input.take<uint8_t>() % longest_patch;
        input.take_bytes(bytes.data(), length);
        std::copy_n(reinterpret_cast<const std::byte *>(bytes.data()),
                    std::min(length, payload.size() - offset),
                    payload.begin() + static_cast<ptrdiff_t>(offset));
    }
}

// A process that nobody waits for, so that its number stays its own.
uint32_t ended_process()
{
    static const auto ended = [] {
        const pid_t child = fork();
        if (child == 0)
            _exit(0);
        siginfo_t info;
        require(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT) == 0);
        return static_cast<uint32_t>(child);
    }();
    return ended;
}

message next_message(reader &input)
{
    constexpr std::array<uid_t, 4> users{administrator, 0, with_role, stranger};
    constexpr std::array places{access_point::daemon, access_point::platform,
                                access_point::active_node};
    const known_message &row = known_messages[input.take<uint8_t>() % std::size(known_messages)];
    const auto flags = input.take<uint8_t>();
    message made{row.opcode, access_point{row.where}, {}, std::vector<std::byte>(row.size)};
    if ((flags & other_opcode) != 0)
        made.opcode = input.take<uint32_t>();
    if ((flags & other_place) != 0)
        made.where = places[input.take<uint8_t>() % places.size()];
    if ((flags & other_size) != 0)
        made.payload.resize(input.take<uint16_t>());
    if ((flags & of_role) != 0 && row.size == role_size) {
        kivd_perm_group_conf_cli_wrapper change{};
        kivd_perm_group_conf_cli_wrapper_init(&change);
        change.role_name[0] = 'r';
        std::memcpy(made.payload.data(), &change, std::min(sizeof change, made.payload.size()));
    }
    fill(made.payload, input);
    made.sender.uid = users[(flags & who) >> 4];
    made.sender.pid = (flags & by_ended) != 0 ? ended_process() : own_pid;
    return made;
}

// A daemon, with what it tells of its tables.
class served {
public:
    served()
    {
        require(log_.open("/dev/null") == 0 && kivd_.start() == 0);
        told_ = ask_for_tables();
    }

    void serve(const message &asked)
    {
        const kivd::reply made =
            kivd_.serve({asked.where, asked.opcode, asked.payload, asked.sender});
        require(made.payload.size() <= OVRA_MAX_PAYLOAD);
        require(made.status == 0 || made.payload.empty());
        kivd_.ended();
        const std::string before = std::exchange(told_, ask_for_tables());
        // What a process had registered may have been withdrawn with its end.
        require(made.status == 0 || told_ == before || asked.sender.pid != own_pid);
    }

    void check_tree()
    {
        std::ifstream tree(folder + ask(7658).c_str(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(tree), {}};
        require(kiv_tree_check(bytes.data(), bytes.size(), nullptr) == 0);
    }

    const std::string &told() const { return told_; }

private:
    std::string ask(uint32_t opcode)
    {
        ovra_peer sender{};
        sender.pid = own_pid;
        sender.uid = stranger;
        const kivd::reply made = kivd_.serve({access_point::daemon, opcode, {}, sender});
        require(made.status == 0 && made.opcode == opcode);
        return {reinterpret_cast<const char *>(made.payload.data()), made.payload.size()};
    }

    std::string ask_for_tables()
    {
        return ask(905) + ask(912) + ask(916) + ask(938) + ask(946) + ask(948);
    }

    kivd::log_writer log_;
    kivd::daemon kivd_{folder, folder, kivd::permissions(administrator, folder + "users"), log_};
    std::string told_;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    if (access("/dev/shm", W_OK) == 0)
        folder.replace(0, std::strlen("/tmp"), "/dev/shm");
    require(mkdtemp(folder.data()) != nullptr);
    folder += '/';
    std::atexit([] { std::filesystem::remove_all(folder); });
    write("main_tree.par", tree_of("own", "run_own"));
    write("a.par", tree_of("a", "run_a"));
    write("b.par", tree_of("a", "run_b"));
    write("c.par", "damaged");
    write("users", std::to_string(with_role) + " r s\n");
    return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    constexpr int most_messages = 40;
    for (const char *name : {"state", "state.previous", "state.damaged"})
        unlink((folder + name).c_str());
    reader input{{data, size}};
    served daemon;
    for (int i = 0; i < most_messages && !input.left.empty(); ++i)
        daemon.serve(next_message(input));
    daemon.check_tree();
    require(served().told() == daemon.told());
    return 0;
}
