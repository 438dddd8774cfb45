// What an exchange costs over the transport, beside a bare connection and another message bus: a
// request of 88 bytes, a reply of 14,600. Both processes are on one processor: to wake an idle one
// takes longer than an exchange.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <sys/epoll.h>
#include <unistd.h>

#include <kiv/platform/cmi.h>
#include <kiv/platform/ovra.h>

#ifdef KIV_BENCH_SD_BUS
#include <systemd/sd-bus.h>
#endif

#include "processes.h"
#include "rounds.h"

namespace {

using namespace processes;

constexpr uint32_t service = 37;
constexpr uint32_t opcode = 905;
constexpr size_t request_size = 88;
constexpr size_t reply_size = 14'600;

const std::array<char, request_size> request{'q'};
const std::array<char, reply_size> reply{'a'};

class contender {
public:
    contender() = default;
    contender(const contender &) = delete;
    contender &operator=(const contender &) = delete;
    virtual ~contender() = default;

    virtual void exchange() = 0;

    // So many exchanges; each one's time is kept.
    void run(int count)
    {
        for (int i = 0; i < count; ++i)
            times_.push_back(rounds::seconds_of([this] { exchange(); }));
    }
    double time_at(double share)
    {
        const auto place = static_cast<std::ptrdiff_t>(share * static_cast<double>(times_.size()));
        std::ranges::nth_element(times_, times_.begin() + place);
        return times_[static_cast<size_t>(place)];
    }

private:
    std::vector<double> times_;
};

class bare : public contender {
public:
    void exchange() override { connection_.exchange(); }

private:
    bare_connection connection_{request_size, reply_size};
};

bool answer_one(int queue, const ovra_recv_options *options)
{
    ovra_message message;
    if (ovra_recv(queue, &message, nullptr, options) != 0)
        return false;
    expect(ovra_answer(queue, &message, opcode, 0, reply.data(), reply_size) == 0);
    ovra_drop(&message);
    return true;
}

void answer_as_they_come(int ready)
{
    const int queue = ovra_open(OVRA_ADDRESS(OVRA_NODE_LOCAL, service), 0600);
    expect(queue >= 0);
    say_ready(ready);
    while (answer_one(queue, nullptr))
        ;
}

// As a server does that waits for other things as well.
void answer_what_epoll_tells(int ready)
{
    const int queue = ovra_open(OVRA_ADDRESS(OVRA_NODE_LOCAL, service), 0600);
    const int events = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{};
    event.events = EPOLLIN;
    expect(queue >= 0 && epoll_ctl(events, EPOLL_CTL_ADD, queue, &event) == 0);
    say_ready(ready);
    constexpr ovra_recv_options at_once{OVRA_OPTIONS_VERSION, OVRA_RECV_NO_WAIT, 0, 0, {}};
    while (epoll_wait(events, &event, 1, -1) == 1)
        answer_one(queue, &at_once);
}

class with_cmi : public contender {
public:
    void exchange() override
    {
        void *received = nullptr;
        uint32_t length = request_size;
        expect(cmi_req_resp(opcode, CMI_MODE_CHANGE, request.data(), &received, &length, "", "",
                            service, 1, 10) == 0 &&
               length == reply_size);
        std::free(received);
    }
};

class with_ovra : public contender {
public:
    ~with_ovra() override { ovra_close(queue_); }

    void exchange() override
    {
        ovra_message sent;
        ovra_message answer;
        expect(ovra_send(queue_, OVRA_ADDRESS(OVRA_NODE_LOCAL, service), opcode, request.data(),
                         request_size, &sent, 0, nullptr) == 0);
        const ovra_recv_options options{OVRA_OPTIONS_VERSION, 0, 10, ovra_rr_token_get(&sent), {}};
        ovra_drop(&sent);
        expect(ovra_recv(queue_, &answer, nullptr, &options) == 0 &&
               ovra_payload_size(&answer) == reply_size);
        ovra_drop(&answer);
    }

private:
    int queue_ = ovra_open(OVRA_ADDRESS_NONE, 0);
};

#ifdef KIV_BENCH_SD_BUS
constexpr const char *bus_path = "/service";
constexpr const char *bus_interface = "switch.Service";

int answer_call(sd_bus_message *call, void *, sd_bus_error *)
{
    const void *received = nullptr;
    size_t size = 0;
    sd_bus_message *answer = nullptr;
    expect(sd_bus_message_read_array(call, 'y', &received, &size) > 0 && size == request_size &&
           sd_bus_message_new_method_return(call, &answer) >= 0 &&
           sd_bus_message_append_array(answer, 'y', reply.data(), reply_size) >= 0 &&
           sd_bus_send(nullptr, answer, nullptr) >= 0);
    sd_bus_message_unref(answer);
    return 1;
}

const sd_bus_vtable bus_methods[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Ask", "ay", "ay", answer_call, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

sd_bus *open_bus(int socket, bool is_server)
{
    sd_bus *bus = nullptr;
    const sd_id128_t id{};
    expect(sd_bus_new(&bus) >= 0 && sd_bus_set_fd(bus, socket, socket) >= 0 &&
           (!is_server || sd_bus_set_server(bus, 1, id) >= 0) &&
           sd_bus_set_anonymous(bus, 1) >= 0 && sd_bus_set_trusted(bus, 1) >= 0 &&
           sd_bus_start(bus) >= 0);
    return bus;
}

class with_sd_bus : public contender {
public:
    with_sd_bus() : bus_(open_bus(dup(ends_[0]), false)) {}
    ~with_sd_bus() override { sd_bus_close_unref(bus_); }

    void exchange() override
    {
        sd_bus_message *call = nullptr;
        sd_bus_message *answer = nullptr;
        const void *received = nullptr;
        size_t size = 0;
        expect(sd_bus_message_new_method_call(bus_, &call, nullptr, bus_path, bus_interface,
                                              "Ask") >= 0 &&
               sd_bus_message_append_array(call, 'y', request.data(), request_size) >= 0 &&
               sd_bus_call(bus_, call, 10'000'000, nullptr, &answer) >= 0 &&
               sd_bus_message_read_array(answer, 'y', &received, &size) > 0 && size == reply_size);
        sd_bus_message_unref(call);
        sd_bus_message_unref(answer);
    }

private:
    static void serve(int socket)
    {
        sd_bus *bus = open_bus(socket, true);
        expect(sd_bus_add_object_vtable(bus, nullptr, bus_path, bus_interface, bus_methods,
                                        nullptr) >= 0);
        for (;;) {
            const int done = sd_bus_process(bus, nullptr);
            expect(done >= 0 && (done > 0 || sd_bus_wait(bus, UINT64_MAX) >= 0));
        }
    }

    pair_of_sockets ends_{SOCK_STREAM};
    server server_{[this](int ready) {
        say_ready(ready);
        serve(ends_[1]);
    }};
    sd_bus *bus_;
};
#endif

// Of single exchanges, which other work on the machine hardly reaches.
void count_exchanges(benchmark::State &state, contender &measured, const std::string &name,
                     contender &other, const std::string &percentile)
{
    const double share = std::stod(percentile) / 100;
    const double time = measured.time_at(share);
    const double time_of_other = other.time_at(share);
    const std::string ours = "library p" + percentile;
    const std::string theirs = name + " p" + percentile;
    state.counters[ours] = time;
    state.counters[theirs] = time_of_other;
    state.counters[ours + "/" + theirs] = time / time_of_other;
}

template <class Measured, void (*serve)(int ready)>
void exchange(benchmark::State &state)
{
    constexpr int count = 200;
    if (!is_in_switch_root(state))
        return;
    const one_processor here;
    const server answering(serve);
    Measured measured;
    bare baseline;
    std::vector<rounds::contender> contenders{{"library", [&] { measured.run(count); }},
                                              {"bare", [&] { baseline.run(count); }}};
#ifdef KIV_BENCH_SD_BUS
    with_sd_bus bus;
    contenders.push_back({"sd_bus", [&] { bus.run(count); }});
#endif
    rounds::measure(state, contenders);
    count_exchanges(state, measured, "bare", baseline, "50");
    count_exchanges(state, measured, "bare", baseline, "99");
#ifdef KIV_BENCH_SD_BUS
    count_exchanges(state, measured, "sd_bus", bus, "50");
#endif
}

void set_up(benchmark::internal::Benchmark *exchange)
{
    exchange->Iterations(250)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(exchange<with_cmi, answer_as_they_come>)
    ->Name("transport/cmi/blocking_server")
    ->Apply(set_up);
BENCHMARK(exchange<with_ovra, answer_as_they_come>)
    ->Name("transport/ovra/blocking_server")
    ->Apply(set_up);
BENCHMARK(exchange<with_cmi, answer_what_epoll_tells>)
    ->Name("transport/cmi/polling_server")
    ->Apply(set_up);

} // namespace
