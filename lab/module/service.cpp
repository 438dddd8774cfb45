#include "service.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <string>
#include <utility>

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <kiv/platform/syserr.h>

namespace kiv::module {

namespace {

constexpr uint32_t open_to_all = 0666;
constexpr int32_t not_run = -1;
constexpr time_t refusal_pause = 2; // seconds

// A message that is dropped at the end.
class received {
public:
    received() = default;
    ~received() { ovra_drop(&message); }
    received(const received &) = delete;
    received &operator=(const received &) = delete;

    ovra_message message{};
};

// Whether a failure to receive is about one message or peer, or passes.
bool passes(int error)
{
    return error != EBADF && error != EINVAL;
}

} // namespace

service::~service()
{
    if (queue_ >= 0)
        ovra_close(queue_);
}

int service::open()
{
    piece_.resize(OVRA_MAX_PAYLOAD);
    queue_ = ovra_open(OVRA_ADDRESS(OVRA_NODE_LOCAL, of_.service), open_to_all);
    if (queue_ < 0)
        return errno;
    events_ = support::unique_fd(epoll_create1(EPOLL_CLOEXEC));
    retry_ = support::unique_fd(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    if (!events_ || !retry_)
        return errno;
    int error = daemon_.open();
    for (const pollfd &source : waited_for()) {
        if (error == 0)
            error = watch(source.fd);
    }
    if (error == 0)
        follow_daemon();
    return error;
}

int service::watch(int descriptor) const
{
    epoll_event event{};
    event.events = EPOLLIN;
    return epoll_ctl(events_.get(), EPOLL_CTL_ADD, descriptor, &event) == 0 ? 0 : errno;
}

// Where there is no daemon, its socket will appear; any other failure is tried again.
void service::follow_daemon()
{
    const int error = registration_.begin(queue_);
    follow_again(error == 0 || error == EPIPE ? 0 : 1);
}

// 0 seconds: not at all.
void service::follow_again(time_t seconds)
{
    itimerspec later{};
    later.it_value.tv_sec = seconds;
    timerfd_settime(retry_.get(), 0, &later, nullptr);
}

service::sources service::waited_for() const
{
    return {{{queue_, POLLIN, 0}, {daemon_.descriptor(), POLLIN, 0}, {retry_.get(), POLLIN, 0}}};
}

int service::serve()
{
    sources ready = waited_for();
    if (poll(ready.data(), ready.size(), 0) < 0)
        return errno == EINTR ? 0 : errno;
    return serve(ready);
}

int service::serve(const sources &ready)
{
    const auto &[messages, daemon, retry] = ready;
    uint64_t expirations = 0;
    if ((daemon.revents != 0 && daemon_.take()) ||
        (retry.revents != 0 && read(retry_.get(), &expirations, sizeof expirations) > 0))
        follow_daemon();
    if (messages.revents == 0)
        return 0;
    static constexpr ovra_recv_options at_once{OVRA_OPTIONS_VERSION, OVRA_RECV_NO_WAIT, 0, 0, {}};
    received next;
    ovra_peer sender{};
    sender.version = OVRA_OPTIONS_VERSION;
    if (ovra_recv(queue_, &next.message, &sender, &at_once) == 0)
        take(next.message, sender);
    else if (!passes(errno))
        return errno;
    return 0;
}

void service::take(const ovra_message &message, const ovra_peer &sender)
{
    const bool is_answer = registration_.take(queue_, message);
    if (registration_.take_retry())
        follow_again(refusal_pause);
    if (is_answer || ovra_rr_token_get(&message) == 0)
        return;
    try {
        answer_request(message, sender);
    } catch (const std::bad_alloc &) {
        refuse(message, KIV_ERROR_TRANSPORT | ENOMEM, "");
    } catch (const std::exception &failure) {
        refuse(message, KIV_ERROR_COMMAND_FAILED, failure.what());
    }
}

void service::answer_request(const ovra_message &message, const ovra_peer &sender)
{
    if (ovra_opc_get(&message) == message_rest)
        return answer_rest(message, sender.connection);
    kept_.drop(sender.connection);
    if (ovra_opc_get(&message) == message_run)
        run(message, sender);
    else
        refuse(message, KIV_ERROR_BAD_MESSAGE, "");
}

void service::run(const ovra_message &message, const ovra_peer &sender)
{
    const auto *payload = static_cast<const std::byte *>(ovra_payload_get(&message));
    if (!request_.read({payload, ovra_payload_size(&message)}))
        return refuse(message, KIV_ERROR_BAD_MESSAGE, "");
    const kiv_module_command *command = find_command(request_.function());
    if (command == nullptr)
        return refuse(message, KIV_ERROR_NOT_FOUND,
                      "Module " + std::string(of_.name) + " has no function " +
                          std::string(request_.function()) + ".\n");
    pinfo &info = request_.info();
    const bool changes = (command->flags & KIV_MODULE_CHANGES) != 0;
    if (const refusal refused = senders_.identify(sender, *command, info); refused.status != 0)
        return refuse(message, refused.status, refused.text);
    info.ovra_queue = queue_;
    capture printing;
    const int32_t result = command->run(&info);
    output printed = printing.take(result);
    if (changes && result == 0)
        kiv_api_notify_cfg_change(&info);
    answer(message, sender, std::move(printed));
}

const kiv_module_command *service::find_command(std::string_view function) const
{
    for (const kiv_module_command *row = of_.commands; row->function != nullptr; ++row) {
        if (row->function == function)
            return row;
    }
    return nullptr;
}

void service::answer(const ovra_message &message, const ovra_peer &sender, output printed)
{
    const std::string_view text = printed.rest();
    if (send(message, 0, printed.result(), text) != 0 || text.size() <= piece_size)
        return;
    printed.skip(piece_size);
    kept_.keep(sender.connection, sender.uid, std::move(printed));
}

void service::answer_rest(const ovra_message &message, uint32_t connection)
{
    output *kept = kept_.find(connection);
    if (kept == nullptr)
        return refuse(message, KIV_ERROR_NOT_FOUND,
                      "The rest of the output is gone: too many outputs are being fetched.\n");
    const std::string_view text = kept->rest();
    if (send(message, 0, kept->result(), text) != 0 || text.size() <= piece_size)
        kept_.drop(connection);
    else
        kept->skip(piece_size);
}

void service::refuse(const ovra_message &message, uint32_t status, std::string_view text)
{
    send(message, status, not_run, text);
}

// Sends what fits of the text. Whoever has gone meanwhile gets no answer.
int service::send(const ovra_message &message, uint32_t status, int32_t result,
                  std::string_view text)
{
    const size_t size = std::min(text.size(), piece_size);
    const answer_head head{result, static_cast<uint32_t>(text.size() - size)};
    std::memcpy(piece_.data(), &head, sizeof head);
    std::copy_n(text.begin(), size, piece_.begin() + sizeof head);
    return ovra_answer(queue_, &message, ovra_opc_get(&message), static_cast<int32_t>(status),
                       piece_.data(), static_cast<uint32_t>(sizeof head + size));
}

} // namespace kiv::module
