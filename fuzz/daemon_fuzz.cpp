// Whatever messages come, of whatever size and from whomever: the daemon's tables stay sound, its
// answers are of a size that can be sent, and what fails changes nothing.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
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

struct known_message {
    uint32_t opcode;
    uint16_t size;
    access_point where = access_point::daemon;
};

constexpr uint16_t role_size = sizeof(kivd_perm_group_conf_cli_wrapper);
constexpr uint16_t tree_size = sizeof(kiv_tree_table_entry);

constexpr known_message known_messages[] = {{900, sizeof(kiv_interface_table_entry)},
                                            {901, 8},
                                            {905, 0},
                                            {911, role_size},
                                            {912, 0},
                                            {913, role_size},
                                            {914, role_size},
                                            {916, 0},
                                            {917, 128, access_point::platform},
                                            {919, role_size},
                                            {935, 128},
                                            {936, 128},
                                            {937, 0},
                                            {938, 0},
                                            {940, 8, access_point::active_node},
                                            {943, 0, access_point::platform},
                                            {944, 0, access_point::platform},
                                            {946, 0},
                                            {947, sizeof(kivd_param_subtype_entry)},
                                            {948, 0},
                                            {7655, tree_size},
                                            {7656, tree_size},
                                            {7658, 0},
                                            {7661, 128},
                                            {kivd::message_status, 0},
                                            {kivd::message_merge_report, 0}};

constexpr uid_t administrator = 4000;
constexpr uid_t with_role = 4001;
constexpr uid_t stranger = 4002;

// On a file system in memory: the daemon waits for the disk at each change.
class folder {
public:
    folder()
    {
        const char *memory = "/dev/shm";
        path_ = std::string(access(memory, W_OK) == 0 ? memory : "/tmp") + "/kivd_fuzz.XXXXXX";
        require(mkdtemp(path_.data()) != nullptr);
    }
    folder(const folder &) = delete;
    folder &operator=(const folder &) = delete;
    ~folder() { std::filesystem::remove_all(path_); }

    std::string operator/(const std::string &name) const { return path_ + "/" + name; }

    void write(const std::string &name, const std::string &content) const
    {
        std::ofstream(*this / name, std::ios::binary) << content;
    }

private:
    std::string path_;
};

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

const folder &files()
{
    static const folder made;
    return made;
}

// Takes the input apart from its front; behind its end there are zeros.
class reader {
public:
    reader(const uint8_t *data, size_t size) : next_(data), end_(data + size) {}

    bool at_end() const { return next_ == end_; }

    template <class Number>
    Number take()
    {
        Number number{};
        take_bytes(&number, sizeof number);
        return number;
    }

    void take_bytes(void *to, size_t size)
    {
        const size_t there = std::min(size, static_cast<size_t>(end_ - next_));
        std::memset(to, 0, size);
        std::memcpy(to, next_, there);
        next_ += there;
    }

private:
    const uint8_t *next_;
    const uint8_t *end_;
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
        const size_t offset = input.take<uint16_t>();
        const size_t length = input.take<uint8_t>() % longest_patch;
        std::array<uint8_t, longest_patch> bytes;
        input.take_bytes(bytes.data(), length);
        if (offset < payload.size())
            std::memcpy(payload.data() + offset, bytes.data(),
                        std::min(length, payload.size() - offset));
    }
}

message next_message(reader &input, pid_t ended)
{
    constexpr std::array<uid_t, 4> users{administrator, 0, with_role, stranger};
    constexpr std::array places{access_point::daemon, access_point::platform,
                                access_point::active_node};
    const known_message &row = known_messages[input.take<uint8_t>() % std::size(known_messages)];
    const auto flags = input.take<uint8_t>();
    message made{row.opcode, row.where, {}, std::vector<std::byte>(row.size)};
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
    made.sender.pid = static_cast<uint32_t>((flags & by_ended) != 0 ? ended : getpid());
    return made;
}

// The daemon of one input, with what it tells of its tables.
class served {
public:
    served()
    {
        for (const char *name : {"state", "state.previous", "state.damaged"})
            unlink((files() / name).c_str());
        require(log_.open("/dev/null") == 0);
        kivd_ = std::make_unique<kivd::daemon>(
            files() / "", files() / "", kivd::permissions(administrator, files() / "users"), log_);
        require(kivd_->start() == 0);
        before_ = told();
    }

    void serve(const message &asked)
    {
        const kivd::reply made =
            kivd_->serve({asked.where, asked.opcode, asked.payload, asked.sender});
        require(made.payload.size() <= OVRA_MAX_PAYLOAD);
        require(made.status == 0 || made.payload.empty());
        kivd_->ended();
        std::string after = told();
        // What a process had registered may have been withdrawn with its end.
        require(made.status == 0 || after == before_ || asked.sender.pid != my_pid());
        before_ = std::move(after);
    }

    // What it has told of its tables is on the disk, and the tree is a tree.
    void check_files()
    {
        std::vector<std::string> remarks;
        kivd::state_file file(files() / "");
        const auto stored = std::make_unique<kivd::tables>();
        require(file.load(*stored, remarks) == 0 && remarks.empty());
        require(kivd::are_sound(*stored));
        require(is_told(938, &stored->trees, sizeof stored->trees));
        require(is_told(905, &stored->interfaces, sizeof stored->interfaces));
        require(is_told(916, &stored->settings, sizeof stored->settings));
        require(is_told(912, stored->roles.data(),
                        static_cast<size_t>(stored->role_count) * sizeof(kivd_perm_group)));
        const auto name = ask(7658);
        std::ifstream tree(files() / reinterpret_cast<const char *>(name.data()), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(tree), {}};
        require(kiv_tree_check(bytes.data(), bytes.size(), nullptr) == 0);
    }

private:
    static uint32_t my_pid() { return static_cast<uint32_t>(getpid()); }

    std::span<const std::byte> ask(uint32_t opcode)
    {
        ovra_peer sender{};
        sender.pid = my_pid();
        sender.uid = stranger;
        const kivd::reply made = kivd_->serve({access_point::daemon, opcode, {}, sender});
        require(made.status == 0 && made.opcode == opcode);
        return made.payload;
    }

    bool is_told(uint32_t opcode, const void *record, size_t size)
    {
        const auto answer = ask(opcode);
        return answer.size() == size && std::memcmp(answer.data(), record, size) == 0;
    }

    std::string told()
    {
        std::string all;
        for (const uint32_t opcode : {905U, 912U, 916U, 938U, 946U, 948U}) {
            const auto answer = ask(opcode);
            all.append(reinterpret_cast<const char *>(answer.data()), answer.size());
        }
        return all;
    }

    kivd::log_writer log_;
    std::unique_ptr<kivd::daemon> kivd_;
    std::string before_;
};

// A process that has ended and that nobody has waited for: its number is its own.
class ended_process {
public:
    ended_process() : pid_(vfork())
    {
        if (pid_ == 0)
            _exit(0);
        // The way out of vfork is a little before the end.
        siginfo_t info;
        require(waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT) == 0);
    }
    ended_process(const ended_process &) = delete;
    ended_process &operator=(const ended_process &) = delete;
    ~ended_process() { waitpid(pid_, nullptr, 0); }

    pid_t pid() const { return pid_; }

private:
    pid_t pid_;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    files().write("main_tree.par", tree_of("own", "run_own"));
    files().write("a.par", tree_of("a", "run_a"));
    files().write("b.par", tree_of("a", "run_b"));
    files().write("c.par", "damaged");
    files().write("users", std::to_string(with_role) + " r s\n");
    return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    constexpr int most_messages = 40;
    reader input(data, size);
    const ended_process ended;
    served daemon;
    for (int i = 0; i < most_messages && !input.at_end(); ++i)
        daemon.serve(next_message(input, ended.pid()));
    // Only once something has been stored is there a file.
    if (access((files() / "state").c_str(), F_OK) == 0)
        daemon.check_files();
    return 0;
}
