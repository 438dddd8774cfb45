#include "ovra/queue.h"

#include <cerrno>
#include <utility>

#include <sys/socket.h>

namespace kiv::transport {

namespace {

// What came is nothing for the receiver.
constexpr int nothing = -1;

} // namespace

int queue::open(uint64_t address, mode_t mode)
{
    int error = waiting_.open();
    if (error == 0 && address != OVRA_ADDRESS_NONE)
        error = open_name(address, mode);
    ring();
    return error;
}

int queue::open_name(uint64_t address, mode_t mode)
{
    name_ = std::make_unique<named_socket>();
    int error = waiting_.open_alarm();
    if (error == 0)
        error = name_->open(address, mode);
    return error != 0 ? error : waiting_.add(name_->number(), waiting_set::listener);
}

// The bell is heard when there is something to receive that no connection shows.
void queue::ring()
{
    const bool is_alone = name_ == nullptr && peers_.is_empty();
    waiting_.ring(!backlog_.is_empty() || has_lost_peer_ || is_alone);
}

// -- Sending

int queue::send(uint64_t address, outgoing_frame &frame, ovra_message *sent, deadline &until)
{
    peer *to = peers_.at_address(address);
    const bool is_kept = to != nullptr;
    int error = is_kept ? 0 : reach(address, until, to);
    if (error == 0)
        error = send_to(*to, frame, sent, until);
    // The service may have been started again since: nothing of this message has reached it.
    if (error == EPIPE && is_kept) {
        retire(*to);
        error = reach(address, until, to);
        if (error == 0)
            error = send_to(*to, frame, sent, until);
    }
    ring();
    return error;
}

int queue::reach(uint64_t address, deadline &until, peer *&to)
{
    if (!peers_.has_serial_left())
        return EMFILE;
    auto made = std::make_unique<peer>();
    made->is_ours = true;
    made->address = address;
    if (const int error = made->link.connect(address, until); error != 0)
        return error;
    to = made.get();
    return admit(std::move(made));
}

int queue::send_to(peer &to, outgoing_frame &frame, ovra_message *sent, deadline &until)
{
    frame.header.token = 0;
    if (sent != nullptr) {
        frame.header.token = peers_.new_token(to);
        backlog_.forget(frame.header.token);
    }
    const int error = to.link.send(frame, until);
    if (error == 0 && sent != nullptr)
        *sent = {nullptr, to.id, frame.header.token, frame.header.opcode, 0};
    return error;
}

int queue::answer(const ovra_message &request, outgoing_frame &frame)
{
    peer *to = peers_.find(request.connection);
    if (to == nullptr)
        return EPIPE;
    frame.header.token = request.token;
    frame.header.is_answer = 1;
    deadline now = deadline::at_once();
    const int error = to->link.send(frame, now);
    if (error != EAGAIN && error != EPIPE)
        return error;
    if (to->is_ours)
        retire(*to);
    else
        remove(*to);
    ring();
    return EPIPE;
}

// -- Receiving

int queue::receive(uint32_t token, block &message, deadline &until)
{
    message = backlog_.take(token);
    int error = 0;
    if (!message)
        error = token == 0 ? receive_any(message, until) : receive_answer(token, message, until);
    ring();
    return error;
}

int queue::receive_any(block &message, deadline &until)
{
    // Others may come and go without end; when the time is over, that is not waited for.
    uint32_t patience = 2 * OVRA_MAX_CONNECTIONS;
    // Whoever does not wait has been told by poll that there is something, so that the kernel need
    // not be asked twice.
    bool may_guess = !until.waits();
    for (;;) {
        ring();
        if (has_lost_peer_ || (name_ == nullptr && peers_.is_empty())) {
            has_lost_peer_ = false;
            return EPIPE;
        }
        uint64_t source = 0;
        const bool is_guessed = std::exchange(may_guess, false) && waiting_.guess(source);
        int error = is_guessed ? 0 : waiting_.wait(source, until);
        if (error == 0)
            error = serve(source, message);
        if (error != nothing)
            return error;
        if (until.is_over() && !is_guessed && --patience == 0)
            return until.error();
    }
}

int queue::serve(uint64_t source, block &message)
{
    if (source == waiting_set::listener)
        accept();
    else if (source == waiting_set::alarm)
        resume();
    else if (peer *from = peers_.find(static_cast<uint32_t>(source)))
        return serve_peer(*from, message);
    return nothing;
}

int queue::serve_peer(peer &from, block &message)
{
    const bool is_ours = from.is_ours;
    deadline now = deadline::at_once();
    const int error = read(from, message, now);
    if (error == EAGAIN)
        return nothing;
    // What others do wrong is their affair, and their end is nobody's.
    return !is_ours && (error == EPIPE || error == EPROTO) ? nothing : error;
}

int queue::read(peer &from, block &message, deadline &until)
{
    int error = from.link.receive(landing_, until);
    if (error == 0) {
        message = landing_.take(from.link.peer(), from.id);
        error = check_origin(from, message);
    }
    if (error == EPIPE || error == EPROTO)
        remove(from);
    return error;
}

// Answers with a token come from where the request went.
int queue::check_origin(const peer &from, block &message)
{
    const frame_header &header = message.header();
    if (header.is_answer == 0 || header.token == 0 ||
        (from.is_ours && peers::is_token_of(from, header.token)))
        return 0;
    message = {};
    return EPROTO;
}

// An answer comes over the connection that the request has taken, so that the others wait in the
// kernel meanwhile, and one call waits and receives.
int queue::receive_answer(uint32_t token, block &message, deadline &until)
{
    peer *from = peers_.of_token(token);
    if (from == nullptr)
        return EPIPE;
    for (;;) {
        int error = backlog_.has_room() ? 0 : check_room(*from, token, until);
        if (error == 0)
            error = read(*from, message, until);
        if (error == ETIME)
            backlog_.give_up(token);
        if (error != 0 || message.answers(token))
            return error;
        backlog_.keep(std::exchange(message, {}));
        if (until.waits() && until.is_over()) {
            backlog_.give_up(token);
            return ETIME;
        }
    }
}

// With a full backlog only the answer itself can be taken.
int queue::check_room(peer &from, uint32_t token, deadline &until)
{
    frame_header next{};
    const int error = from.link.peek(next, until);
    const bool is_other = next.magic == OVRA_FRAME_MAGIC && !is_answer_to(next, token);
    return error == 0 && is_other ? ENOBUFS : error;
}

// -- Connections

void queue::accept()
{
    if (peers_.accepted() >= OVRA_MAX_CONNECTIONS)
        return pause(false);
    auto accepted = std::make_unique<peer>();
    descriptor socket = descriptor::open(
        [this] { return accept4(name_->number(), nullptr, nullptr, SOCK_CLOEXEC); });
    if (!socket) {
        if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED)
            pause(true);
        return;
    }
    if (accepted->link.take(std::move(socket)) == 0 && may_connect(accepted->link.peer().uid))
        admit(std::move(accepted));
}

// One user cannot take the connections from all others, the superuser and the own user apart, who
// could stop this process, too.
bool queue::may_connect(uid_t user) const
{
    return user == 0 || user == own_user_ || peers_.accepted_of(user) < OVRA_MAX_OF_USER;
}

int queue::admit(std::unique_ptr<peer> added)
{
    peer &kept = peers_.add(std::move(added));
    const int error = waiting_.add(kept.link.number(), kept.id);
    if (error != 0)
        remove(kept);
    return error;
}

// Leaves connections waiting until one is closed, or for a while when it's the system that has no
// room for more.
void queue::pause(bool for_a_while)
{
    is_paused_ = true;
    waiting_.listen(name_->number(), waiting_set::listener, false);
    if (for_a_while)
        waiting_.set_alarm();
}

void queue::resume()
{
    if (!is_paused_)
        return;
    is_paused_ = false;
    waiting_.stop_alarm();
    waiting_.listen(name_->number(), waiting_set::listener, true);
}

// Takes a peer that does not receive any more out of use, but not what it had sent.
void queue::retire(peer &gone)
{
    if (gone.link.has_unread()) {
        peers_.retire(gone);
        return;
    }
    has_lost_peer_ = true;
    remove(gone);
}

void queue::remove(peer &gone)
{
    waiting_.remove(gone.link.number());
    gone.link.close();
    peers_.remove(gone);
    resume();
}

} // namespace kiv::transport
