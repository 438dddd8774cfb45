// Commands that modules handle.
#ifndef LAB_KIV_MODULE_LINK_H
#define LAB_KIV_MODULE_LINK_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <kiv/kiv_lib.h>

#include "failure.h"
#include "lab/module/request.h"
#include "modes.h"
#include "tree.h"

namespace kiv_shell {

// Where a module is found: the service access point that its nodes name; 0: the shell itself.
inline uint16_t service_of(const tree_view &tree, node_index node)
{
    return kiv_be16_get(tree.node(node).cmi_msg_type);
}

// Whether a module keeps to the protocol: pieces but the last are full, what is to come is what was
// announced with the piece before, and the whole is within reason. Keeps what is announced now.
bool is_in_order(size_t piece, size_t remaining, std::optional<size_t> &announced);

class module_link {
public:
    // How long a module has for each answer.
    explicit module_link(int wait_seconds) : wait_seconds_(wait_seconds) {}

    // Runs the function of a command in its module's process, and takes what it printed. `within`
    // are the arguments of the modes that it is in. A failure that ends with a newline is the
    // module's own text, or the system's, as it stands.
    failure run(const tree_view &tree, const command &parsed,
                std::vector<kiv::module::argument> within, bool configures, std::string &output);

    // Whether run() has failed only because the shell does not hold the configuration lock.
    bool needs_lock() const { return needs_lock_; }

private:
    struct answer {
        failure failed;
        uint32_t remaining = 0;
    };

    answer ask(uint32_t message, uint32_t service, const std::string &request,
               kiv_timeout_kind kind, std::string &output);
    bool take_piece(const void *payload, size_t size, kiv::module::answer_head &head,
                    std::string &output);

    int wait_seconds_;
    bool needs_lock_ = false;
    std::optional<size_t> announced_; // of the output that is being taken
};

// The laid-down message for an errno value (POSIX) of the transport.
std::string transport_message(kiv_timeout_kind kind, int error);

} // namespace kiv_shell

#endif
