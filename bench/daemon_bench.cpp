// The daemon as a process: many clients at once, its memory over a million requests, and its part
// of a merge.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <kiv/kivd_lib.h>
#include <kiv/platform/cmi.h>
#include <kiv/platform/ovra.h>

#include "daemon_process.h"
#include "rounds.h"

namespace {

using namespace processes;

constexpr uint64_t address = OVRA_ADDRESS(OVRA_NODE_LOCAL, daemon_service);

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
    std::vector<double> late;
    std::vector<double> middle;
    std::vector<double> ratios;
    for ([[maybe_unused]] auto iteration : state) {
        clients.forget_times();
        clients.run(count * requests_of_each);
        late.push_back(clients.time_at(0.99));
        middle.push_back(clients.time_at(0.5));
        ratios.push_back(late.back() / middle.back());
    }
    state.counters["p99"] = rounds::median(late);
    state.counters["median"] = rounds::median(middle);
    state.counters["lost"] = static_cast<double>(clients.lost());
    state.counters["wrong"] = static_cast<double>(clients.wrong());
    state.counters["p99/median"] = rounds::median(ratios);
}

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
                 "", daemon_service, 0, 30);
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
        const double after = daemon.resident_memory();
        state.counters["before"] = before;
        state.counters["after"] = after;
        state.counters["after/before"] = after / before;
    }
    state.counters["lost"] = static_cast<double>(clients.lost());
    state.counters["wrong"] = static_cast<double>(clients.wrong());
}

BENCHMARK(remember)->Name("daemon/memory")->Iterations(1)->Unit(benchmark::kSecond);

// -- Registration and merge

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
    contributed_trees contributed;
    for ([[maybe_unused]] auto iteration : state) {
        contributed.grow_to(some);
        const double of_some = merge_seconds_of_node();
        contributed.grow_to(many);
        const double of_many = merge_seconds_of_node();
        expect(status().tree_number == many + 1 &&
               status().nodes > many * (contributed_trees::nodes_of_each - 3));
        state.counters["500x40"] = of_many;
        state.counters["100x40"] = of_some;
        state.counters["500x40/100x40"] = of_many / of_some;
    }
}

BENCHMARK(register_and_merge)
    ->Name("daemon/merge")
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
