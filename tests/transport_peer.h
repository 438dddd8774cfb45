// Both ends of the transport for tests: processes that tell each other when, and a peer that speaks
// the frames byte for byte, also wrong ones.
#ifndef KIV_TESTS_TRANSPORT_PEER_H
#define KIV_TESTS_TRANSPORT_PEER_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

#include <kiv/platform/ovra.h>

namespace transport_peer {

constexpr uint32_t service_point = 500;
constexpr uint64_t service_address = OVRA_ADDRESS(OVRA_NODE_LOCAL, service_point);
constexpr const char *service_path = "/run/kiv/FE000000-500";

// An owner of a descriptor.
class socket_end {
public:
    socket_end() = default;
    explicit socket_end(int number) : number_(number) {}
    socket_end(socket_end &&other) noexcept;
    socket_end &operator=(socket_end &&other) noexcept;
    ~socket_end();

    int number() const { return number_; }
    void close() { *this = socket_end(); }

private:
    int number_ = -1;
};

// A child process. It ends with the result of its function, which should be 0.
class process {
public:
    explicit process(const std::function<int(process &parent)> &run);
    process(const process &) = delete;
    process &operator=(const process &) = delete;
    ~process();

    pid_t id() const { return id_; }
    // The two ends wait for each other's word.
    void tell() const;
    bool await() const; // false when the other one is gone
    int end();          // its exit status
    void kill();

private:
    process() = default;

    pid_t id_ = -1;
    socket_end pipe_;
};

// A process that answers every request with its own payload, and opcode 99 not at all, and ends.
int serve_echoes(process &parent);
constexpr uint32_t end_of_service = 99;

// The fields of a frame in the order in which they travel.
struct frame {
    uint32_t magic = OVRA_FRAME_MAGIC;
    uint32_t opcode = 0;
    int32_t mode = 0;
    uint32_t token = 0;
    uint32_t client = 0;
    uint32_t length = 0;
    uint16_t text_length[2] = {0, 0};
    uint32_t is_answer = 0;
};

std::string record(const frame &header, const std::string &body = {});
// One that is right in every respect.
std::string request(uint32_t opcode, const std::string &payload = {}, uint32_t token = 0);
std::string answer(uint32_t opcode, const std::string &payload, uint32_t token);

frame header_of(const std::string &record);

socket_end open_listener(uint32_t sap = service_point, int backlog = 100);
socket_end accept(const socket_end &listener);
socket_end connect(uint32_t sap = service_point);
bool send(const socket_end &end, const std::string &record, int flags = 0);
std::string receive(const socket_end &end);    // empty at the end of the connection
bool is_closed_by_peer(const socket_end &end); // waits for something to happen

// An exchange over the queue's interface, in short.
struct result {
    int error = 0; // errno, 0 for success
    std::string payload;
    uint32_t opcode = 0;
    uint32_t token = 0;
};
result receive(int queue, uint32_t token = 0, uint32_t wait = 10, uint32_t flags = 0);
result receive_now(int queue, uint32_t token = 0);
int send(int queue, uint64_t address, uint32_t opcode, const std::string &payload,
         uint32_t *token = nullptr, uint32_t wait = 0);
bool polls_readable(int queue);

// Interrupts whatever waits every millisecond, for as long as this lives.
class alarms {
public:
    alarms();
    alarms(const alarms &) = delete;
    alarms &operator=(const alarms &) = delete;
    ~alarms();
    static int count();
};

double seconds_of(const std::function<void()> &run);

// The open descriptors of this process.
std::vector<int> descriptors();

} // namespace transport_peer

#endif
