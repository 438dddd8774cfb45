// The daemon as a process: many clients at once, its memory over a million requests, and its part
// of a merge.

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <poll.h>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <kiv/kiv_process_api.h>
#include <kiv/kivd_lib.h>
#include <kiv/platform/cmi.h>
#include <kiv/platform/ovra.h>

#include "lab/kivd/status.h"
#include "rounds.h"
#include "trees.h"

namespace {

constexpr uint32_t service = 37;
constexpr uint64_t address = OVRA_ADDRESS(OVRA_NODE_LOCAL, service);

void expect(bool as_it_should_be)
{
    if (!as_it_should_be)
        std::abort();
}

struct freed {
    void operator()(void *block) const { std::free(block); }
};

std::string ask(uint32_t opcode)
{
    void *reply = nullptr;
    uint32_t size = 0;
    expect(cmi_req_resp(opcode, CMI_MODE_QUERY, nullptr, &reply, &size, "", "", service, 0, 30) ==
           0);
    const std::unique_ptr<void, freed> block(reply);
    return {static_cast<const char *>(reply), size};
}

kivd::daemon_status status()
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
        std::string program = KIVD_PATH;
        std::string option = "--log";
        std::string file = "/dev/null";
        char *arguments[] = {program.data(), option.data(), file.data(), nullptr};
        pid_t starter = -1;
        int ended = 0;
        expect(posix_spawn(&starter, KIVD_PATH, nullptr, nullptr, arguments, environ) == 0 &&
               waitpid(starter, &ended, 0) == starter && ended == 0);
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

bool is_in_switch_root(benchmark::State &state)
{
    if (std::getenv("KIV_SWITCH_ROOT") != nullptr)
        return true;
    state.SkipWithError("run it with script/switch-root");
    return false;
}

// -- Many clients

constexpr std::array<uint32_t, 6> questions{905, 912, 916, 938, 948, 7658};

// What each question is answered by, while nothing changes.
std::array<std::string, questions.size()> right_answers()
{
    std::array<std::string, questions.size()> answers;
    std::ranges::transform(questions, answers.begin(), ask);
    return answers;
}

class client {
public:
    client() : queue_(ovra_open(OVRA_ADDRESS_NONE, 0)) { expect(queue_ >= 0); }
    client(const client &) = delete;
    client &operator=(const client &) = delete;
    ~client() { ovra_close(queue_); }

    int descriptor() const { return queue_; }

    void ask(size_t question)
    {
        question_ = question;
        asked_at_ = std::chrono::steady_clock::now();
        ovra_message sent;
        expect(ovra_send(queue_, address, questions[question], nullptr, 0, &sent, 0, nullptr) == 0);
        token_ = ovra_rr_token_get(&sent);
        ovra_drop(&sent);
    }

    // Receives the answer to what it has asked. Returns whether it is the right one.
    bool receive(const std::array<std::string, questions.size()> &answers)
    {
        constexpr ovra_recv_options at_once{OVRA_OPTIONS_VERSION, OVRA_RECV_NO_WAIT, 0, 0, {}};
        ovra_message message;
        expect(ovra_recv(queue_, &message, nullptr, &at_once) == 0);
        const std::string &right = answers[question_];
        const bool is_right =
            ovra_rr_token_get(&message) == token_ && ovra_status_get(&message) == 0 &&
            ovra_opc_get(&message) == questions[question_] &&
            ovra_payload_size(&message) == right.size() &&
            std::memcmp(ovra_payload_get(&message), right.data(), right.size()) == 0;
        ovra_drop(&message);
        return is_right;
    }

    double seconds() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - asked_at_).count();
    }

private:
    int queue_;
    size_t question_ = 0;
    uint32_t token_ = 0;
    std::chrono::steady_clock::time_point asked_at_;
};

// Clients that all have a question open all the time, until each has asked so many.
class crowd {
public:
    explicit crowd(size_t count) : waiting_(epoll_create1(EPOLL_CLOEXEC)), clients_(count)
    {
        expect(waiting_ >= 0);
        for (client &each : clients_) {
            epoll_event event{};
            event.events = EPOLLIN;
            event.data.ptr = &each;
            each.ask(0);
            expect(epoll_ctl(waiting_, EPOLL_CTL_ADD, each.descriptor(), &event) == 0 &&
                   each_answered(each));
        }
    }
    crowd(const crowd &) = delete;
    crowd &operator=(const crowd &) = delete;
    ~crowd() { close(waiting_); }

    void run(size_t requests)
    {
        asked_ = 0;
        for (client &each : clients_)
            ask_next(each);
        for (size_t open = clients_.size(); open > 0;) {
            std::array<epoll_event, 64> events;
            constexpr int longest_silence = 10'000; // milliseconds
            const int count = epoll_wait(waiting_, events.data(), events.size(), longest_silence);
            if (count <= 0) {
                lost_ += open;
                return;
            }
            for (const epoll_event &event : std::span(events).first(static_cast<size_t>(count))) {
                auto &each = *static_cast<client *>(event.data.ptr);
                wrong_ += each.receive(answers_) ? 0 : 1;
                times_.push_back(each.seconds());
                if (asked_ < requests)
                    ask_next(each);
                else
                    --open;
            }
        }
    }

    size_t lost() const { return lost_; }
    size_t wrong() const { return wrong_; }

    double time_at(double share)
    {
        const auto place = static_cast<std::ptrdiff_t>(share * static_cast<double>(times_.size()));
        std::ranges::nth_element(times_, times_.begin() + place);
        return times_[static_cast<size_t>(place)];
    }
    void forget_times() { times_.clear(); }

private:
    void ask_next(client &each) { each.ask(asked_++ % questions.size()); }

    bool each_answered(client &each)
    {
        pollfd ready{each.descriptor(), POLLIN, 0};
        return poll(&ready, 1, 10'000) == 1 && each.receive(answers_);
    }

    int waiting_;
    std::array<std::string, questions.size()> answers_ = right_answers();
    std::vector<client> clients_;
    std::vector<double> times_;
    size_t asked_ = 0;
    size_t lost_ = 0;
    size_t wrong_ = 0;
};

void raise_descriptor_limit()
{
    rlimit limit;
    expect(getrlimit(RLIMIT_NOFILE, &limit) == 0);
    limit.rlim_cur = limit.rlim_max;
    expect(setrlimit(RLIMIT_NOFILE, &limit) == 0);
}

void ask_at_once(benchmark::State &state)
{
    if (!is_in_switch_root(state))
        return;
    constexpr size_t requests_of_each = 20;
    const auto count = static_cast<size_t>(state.range(0));
    raise_descriptor_limit();
    const daemon_process daemon;
    crowd clients(count);
    std::vector<double> ratios;
    for ([[maybe_unused]] auto iteration : state) {
        clients.forget_times();
        clients.run(count * requests_of_each);
        ratios.push_back(clients.time_at(0.99) / clients.time_at(0.5));
    }
    state.counters["lost"] = static_cast<double>(clients.lost());
    state.counters["wrong"] = static_cast<double>(clients.wrong());
    state.counters["p99/median"] = rounds::median(ratios);
}

// To stay within: 3, and none lost or wrong.
BENCHMARK(ask_at_once)
    ->Name("daemon/clients")
    ->Arg(1000)
    ->Iterations(15)
    ->Unit(benchmark::kMillisecond);

// -- Memory

// What leaves something behind in a daemon that does not take care: clients that come and go, that
// ask nothing or nonsense, locks, and texts.
void disturb(const std::string &nonsense)
{
    void *reply = nullptr;
    uint32_t size = static_cast<uint32_t>(nonsense.size());
    cmi_req_resp(nonsense.empty() ? 1 : 905, CMI_MODE_CHANGE, nonsense.data(), &reply, &size, "",
                 "", service, 0, 30);
    std::free(reply);
    expect(kivd_cli_lock(0, 1) == 0 && kivd_cli_unlock(0, 1) == 0);
    ask(kivd::message_merge_report);
    const client passing;
    expect(ovra_send(passing.descriptor(), address, 901, nullptr, 0, nullptr, 0, nullptr) == 0);
}

void remember(benchmark::State &state)
{
    if (!is_in_switch_root(state))
        return;
    constexpr size_t all = 1'000'000;
    constexpr size_t of_one_turn = 2'000;
    constexpr size_t first_turns = 10;
    const daemon_process daemon;
    crowd clients(50);
    const auto run = [&](size_t turns) {
        for (size_t turn = 0; turn < turns; ++turn) {
            clients.run(of_one_turn);
            clients.forget_times();
            disturb(std::string(turn % 1000 * 100, 'x'));
        }
    };
    for ([[maybe_unused]] auto iteration : state) {
        run(first_turns);
        const double before = daemon.resident_memory();
        run(all / of_one_turn);
        state.counters["after/before"] = daemon.resident_memory() / before;
    }
    state.counters["lost"] = static_cast<double>(clients.lost());
    state.counters["wrong"] = static_cast<double>(clients.wrong());
}

// To stay within: 1.1.
BENCHMARK(remember)->Name("daemon/memory")->Iterations(1)->Unit(benchmark::kSecond);

// -- Registration and merge

constexpr size_t nodes_of_tree = 40;

std::string name_of(size_t module)
{
    return "bench-" + std::to_string(module);
}

void contribute(size_t module)
{
    trees::tree nodes(1);
    nodes[0].children[0] = 1;
    nodes[0].child_count = 1;
    // As many below each word of the first level as keep its place far from its limit.
    trees::print(nodes.emplace_back().token, "group-%zu", module / 16);
    nodes[1].children[0] = 2;
    nodes[1].child_count = 1;
    trees::print(nodes.emplace_back().token, "module-%zu", module);
    trees::grow(nodes, nodes_of_tree, 0);
    std::ofstream file("/ubex/etc/par/" + name_of(module) + ".par", std::ios::binary);
    file.write(reinterpret_cast<const char *>(nodes.data()),
               static_cast<std::streamsize>(nodes.size() * sizeof nodes[0]));
    file.close();
    expect(file.good() && kiv_register_parse_tree(0, name_of(module).c_str()) == 0);
}

double merge_seconds_of_node()
{
    constexpr int rounds_of_merge = 15;
    std::vector<double> times(rounds_of_merge);
    for (double &time : times)
        time = rounds::seconds_of([] { expect(kivd_generate_main_tree(0) == 0); });
    return rounds::median(times) / status().nodes;
}

void register_and_merge(benchmark::State &state)
{
    if (!is_in_switch_root(state))
        return;
    constexpr size_t some = 100;
    constexpr size_t many = 500;
    const daemon_process daemon;
    for ([[maybe_unused]] auto iteration : state) {
        for (size_t module = 0; module < some; ++module)
            contribute(module);
        const double of_some = merge_seconds_of_node();
        for (size_t module = some; module < many; ++module)
            contribute(module);
        const double of_many = merge_seconds_of_node();
        expect(status().tree_number == many + 1 && status().nodes > many * (nodes_of_tree - 3));
        state.counters["500x40/100x40"] = of_many / of_some;
    }
    for (size_t module = 0; module < many; ++module) {
        expect(kiv_deregister_parse_tree(0, name_of(module).c_str()) == 0);
        unlink(("/ubex/etc/par/" + name_of(module) + ".par").c_str());
    }
}

// To stay within: 1.5.
BENCHMARK(register_and_merge)
    ->Name("daemon/merge")
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
