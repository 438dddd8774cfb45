#include "registration.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include <kiv/common.h>
#include <kiv/platform/syserr.h>

#include "lab/kivd/status.h"
#include "protocol.h"

namespace kiv::module {

namespace {

enum daemon_message : uint32_t {
    register_interface = 900,
    deregister_interface = 901,
    merge_trees = 937,
    register_tree = 7655,
    deregister_tree = 7656,
};

// Room in a queue whose owner does not read is not waited for longer than this, in seconds.
constexpr ovra_send_options soon{OVRA_OPTIONS_VERSION, 1, {}, 0, {}, {}};

kiv_tree_table_entry tree_entry(const char *name)
{
    kiv_tree_table_entry entry;
    set_tree_table_entry(&entry, name, "");
    return entry;
}

uint32_t status_of(const ovra_message &answer)
{
    return static_cast<uint32_t>(ovra_status_get(&answer));
}

// Whether the daemon may say otherwise when it is asked again.
bool may_pass(uint32_t status)
{
    return status == KIV_ERROR_NOT_STORED ||
           (status & ~KIV_ERROR_TRANSPORT_ERRNO_MASK) == KIV_ERROR_TRANSPORT;
}

void tell(int queue, uint32_t opcode, const void *payload, uint32_t size)
{
    ovra_send(queue, daemon_address, opcode, payload, size, nullptr, 0, &soon);
}

} // namespace

int registration::begin(int queue)
{
    interface_ = tree_ = merge_ = report_ = {};
    if (of_.interface_mask != 0) {
        const intf_reg_info &type = *of_.interface_type;
        kiv_interface_table_entry entry;
        set_interface_table_entry(&entry, of_.interface_mask, type.name, type.min_match_len,
                                  type.format, type.verify_func, type.listing_func,
                                  type.library_name, type.help_info, type.ascii_gen_priority);
        if (const int error = ask(queue, interface_, register_interface, &entry, sizeof entry);
            error != 0)
            return error;
    }
    const kiv_tree_table_entry entry = tree_entry(of_.name);
    return ask(queue, tree_, register_tree, &entry, sizeof entry);
}

int registration::ask(int queue, question &asked, uint32_t opcode, const void *payload,
                      uint32_t size)
{
    ovra_message sent;
    if (ovra_send(queue, daemon_address, opcode, payload, size, &sent, 0, &soon) != 0)
        return errno;
    asked = {sent.connection, sent.token};
    ovra_drop(&sent);
    return 0;
}

bool registration::answers(const ovra_message &message, question &asked)
{
    if (asked.token == 0 || message.connection != asked.connection || message.token != asked.token)
        return false;
    asked = {};
    return true;
}

bool registration::take(int queue, const ovra_message &answer)
{
    if (answers(answer, interface_))
        interface_answered(answer);
    else if (answers(answer, tree_))
        tree_answered(queue, answer);
    else if (answers(answer, merge_))
        merge_answered(queue, answer);
    else if (answers(answer, report_))
        tell_left_out(
            {static_cast<const char *>(ovra_payload_get(&answer)), ovra_payload_size(&answer)});
    else
        return false;
    return true;
}

void registration::interface_answered(const ovra_message &answer)
{
    has_interface_ = status_of(answer) == 0;
    if (!has_interface_)
        refused("its type of interfaces is refused: ", status_of(answer));
}

void registration::tree_answered(int queue, const ovra_message &answer)
{
    has_tree_ = status_of(answer) == 0;
    if (!has_tree_)
        return refused("its tree is refused: ", status_of(answer));
    if (const int error = ask(queue, merge_, merge_trees, nullptr, 0); error != 0)
        refused("its tree cannot be merged: ", KIV_ERROR_TRANSPORT | static_cast<uint32_t>(error));
}

void registration::merge_answered(int queue, const ovra_message &answer)
{
    uint32_t result = status_of(answer);
    if (result == 0 && ovra_payload_size(&answer) == sizeof result)
        std::memcpy(&result, ovra_payload_get(&answer), sizeof result);
    if (result == KIV_ERROR_TREE_UNUSABLE)
        ask(queue, report_, kivd::message_merge_report, nullptr, 0);
    else if (result != 0)
        refused("its tree cannot be merged: ", result);
    else if (has_interface_ || of_.interface_mask == 0)
        told_ = 0;
}

// What is tried again every second is told once.
void registration::refused(std::string_view what, uint32_t status)
{
    const bool passes = may_pass(status);
    retry_ = retry_ || passes;
    if (!passes || told_ != status)
        complain(std::string(what) + syserr2str(status));
    if (passes)
        told_ = status;
}

// Of the lines of the report, "TREE: why", those about the own tree.
void registration::tell_left_out(std::string_view report) const
{
    const std::string own = std::string(of_.name) + ": ";
    while (!report.empty()) {
        const size_t end = std::min(report.find('\n'), report.size());
        const std::string_view line = report.substr(0, end);
        if (line.starts_with(own))
            complain("its tree is left out: " + std::string(line.substr(own.size())));
        report.remove_prefix(std::min(end + 1, report.size()));
    }
}

void registration::withdraw(int queue)
{
    if (has_tree_) {
        const kiv_tree_table_entry entry = tree_entry(of_.name);
        tell(queue, deregister_tree, &entry, sizeof entry);
        tell(queue, merge_trees, nullptr, 0);
    }
    if (has_interface_)
        tell(queue, deregister_interface, &of_.interface_mask, sizeof of_.interface_mask);
    has_tree_ = has_interface_ = false;
}

void registration::complain(std::string_view what) const
{
    const std::string line = std::string(of_.name) + ": " + std::string(what) + "\n";
    std::fputs(line.c_str(), stderr);
}

} // namespace kiv::module
