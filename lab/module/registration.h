#ifndef LAB_MODULE_REGISTRATION_H
#define LAB_MODULE_REGISTRATION_H

#include <cstdint>
#include <string_view>
#include <utility>

#include <kiv/module.h>

namespace kiv::module {

// What a module has registered with the daemon. Nothing here waits for the daemon: the questions go
// over the module's queue, and their answers come back among its other messages.
class registration {
public:
    explicit registration(const kiv_module_description &of) : of_(of) {}

    // Begins to register the interface type and the tree. Returns 0 or an errno value: EPIPE where
    // there is no daemon.
    int begin(int queue);

    // Whether the message is an answer to this; then it has been dealt with.
    bool take(int queue, const ovra_message &answer);

    // Whether the daemon has refused something for a reason that may pass, since the last call.
    bool take_retry() { return std::exchange(retry_, false); }

    // Takes back what the daemon has confirmed.
    void withdraw(int queue);

private:
    struct question {
        uint32_t connection = 0;
        uint32_t token = 0;
    };

    int ask(int queue, question &asked, uint32_t opcode, const void *payload, uint32_t size);
    bool answers(const ovra_message &message, question &asked);
    void interface_answered(const ovra_message &answer);
    void tree_answered(int queue, const ovra_message &answer);
    void merge_answered(int queue, const ovra_message &answer);
    void tell_left_out(std::string_view report) const;
    void complain(std::string_view what) const;
    void refused(std::string_view what, uint32_t status);

    const kiv_module_description &of_;
    question interface_;
    question tree_;
    question merge_;
    question report_;
    bool has_interface_ = false;
    bool has_tree_ = false;
    bool retry_ = false;
    uint32_t told_ = 0; // the passing refusal that was reported last
};

} // namespace kiv::module

#endif
