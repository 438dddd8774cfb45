#ifndef OVRA_QUEUE_H
#define OVRA_QUEUE_H

#include <cstdint>
#include <memory>
#include <unordered_map>

#include <unistd.h>

#include "ovra/backlog.h"
#include "ovra/block.h"
#include "ovra/message_landing.h"
#include "ovra/named_socket.h"
#include "ovra/peers.h"
#include "ovra/waiting_set.h"

namespace kiv::transport {

// A queue of the interface. Functions return 0 or an errno value, as kiv/platform/ovra.h says.
class queue {
public:
    int open(uint64_t address, mode_t mode);
    int number() const { return waiting_.number(); }

    int send(uint64_t address, outgoing_frame &frame, ovra_message *sent, deadline &until);
    int answer(const ovra_message &request, outgoing_frame &frame);

    // Without a token, 0, the next message of whatever kind.
    int receive(uint32_t token, block &message, deadline &until);

    // Takes a connection into use; what this queue makes and accepts comes here.
    int admit(std::unique_ptr<peer> added);

    std::unordered_map<uint32_t, uint16_t> options; // of opcodes

private:
    int open_name(uint64_t address, mode_t mode);

    int reach(uint64_t address, deadline &until, peer *&to);
    int send_to(peer &to, outgoing_frame &frame, ovra_message *sent, deadline &until);

    int receive_any(block &message, deadline &until);
    int receive_answer(uint32_t token, block &message, deadline &until);
    int check_room(peer &from, uint32_t token, deadline &until);
    int read(peer &from, block &message, deadline &until);
    static int check_origin(const peer &from, block &message);
    int serve(uint64_t source, block &message);
    int serve_peer(peer &from, block &message);

    void accept();
    bool may_connect(uid_t user) const;
    void pause(bool for_a_while);
    void resume();
    void retire(peer &gone);
    void remove(peer &gone);
    void ring();

    waiting_set waiting_;
    std::unique_ptr<named_socket> name_;
    bool is_paused_ = false;
    bool has_lost_peer_ = false; // and has not said so
    const uid_t own_user_ = geteuid();

    peers peers_;
    message_landing landing_;
    backlog backlog_;
};

} // namespace kiv::transport

#endif
