#include "daemon.h"

#include <algorithm>
#include <cstring>

#include <unistd.h>

#include <kiv/platform/syserr.h>

#include "messages.h"

namespace kivd {

namespace {

std::string who(const ovra_peer &sender)
{
    return "process " + std::to_string(sender.pid) + " of user " +
           kiv::roles::user_name(sender.uid);
}

std::string what(const request &asked)
{
    return "message " + std::to_string(asked.opcode) + " with " +
           std::to_string(asked.payload.size()) + " bytes from " + who(asked.sender);
}

} // namespace

daemon::daemon(std::string state_directory, std::string tree_directory, permissions who_may,
               log_writer &out)
    : file_(std::move(state_directory)), publication_(std::move(tree_directory)),
      permissions_(std::move(who_may)), log_(out)
{
    status_.pid = getpid();
    status_.administrator = permissions_.administrator();
}

int daemon::start()
{
    if (const int error = processes_.open(); error != 0)
        return error;
    std::vector<std::string> remarks;
    const int error = file_.load(tables_, remarks);
    for (const std::string &remark : remarks)
        log_.complain(remark);
    if (error != 0)
        return error;
    if (follow_owners())
        commit(tables{tables_});
    publication_.open();
    merge();
    return 0;
}

// Processes that have ended while there was no daemon. Says whether there were any.
bool daemon::follow_owners()
{
    bool changed = false;
    const auto check = [&](const process &owner) {
        if (processes_.follow(owner))
            return false;
        withdraw(tables_, owner);
        return changed = true;
    };
    for (int32_t i = tables_.trees.last_index; i >= 0; --i) {
        if (check(tables_.tree_owners[static_cast<size_t>(i)]))
            i = tables_.trees.last_index + 1;
    }
    for (int32_t i = tables_.interfaces.last_index; i >= 0; --i) {
        if (check(tables_.interface_owners[static_cast<size_t>(i)]))
            i = tables_.interfaces.last_index + 1;
    }
    return changed;
}

void daemon::cannot_exchange(const char *what, uint32_t pid, int error)
{
    ++status_.bad_messages;
    log_.complain_rarely(log_writer::bad_message, [&] {
        return std::string(what) + (pid == 0 ? "" : " process " + std::to_string(pid)) + ": " +
               std::strerror(error);
    });
}

bool daemon::is_bad(const message *row, const request &asked)
{
    if (row != nullptr && row->size == asked.payload.size())
        return false;
    ++status_.bad_messages;
    log_.complain_rarely(log_writer::bad_message, [&] {
        return what(asked) +
               (row == nullptr ? ": unknown" : ": should have " + std::to_string(row->size));
    });
    return true;
}

bool daemon::is_refused(const message &row, const request &asked)
{
    if (row.feature == nullptr)
        return false;
    const kiv::roles::decision found =
        permissions_.may_change(tables_, asked.sender.uid, row.feature);
    if (found.permitted)
        return false;
    ++status_.refusals;
    log_.complain_rarely(log_writer::refusal, [&] {
        return std::string(row.name) + " refused to " + who(asked.sender) + ": " + found.why +
               " (configuration of " + (*row.feature == '\0' ? "anything" : row.feature) + ")";
    });
    return true;
}

reply daemon::serve(const request &asked)
{
    ++status_.requests;
    const message *row = find_message(asked.opcode, asked.where);
    if (is_bad(row, asked))
        return {asked.opcode, KIV_ERROR_BAD_MESSAGE};
    if (is_refused(*row, asked))
        return {asked.opcode, KIV_ERROR_DENIED};
    const reply made = row->serve(*this, asked);
    if (made.status != 0)
        log_.complain_rarely(log_writer::failure, [&] {
            return std::string(row->name) + " from " + who(asked.sender) +
                   " failed: " + syserr2str(made.status);
        });
    return made;
}

uint32_t daemon::commit(const tables &next)
{
    if (const int error = file_.store(next); error != 0) {
        log_.complain_rarely(log_writer::failure, [&] {
            return std::string("cannot store the state: ") + std::strerror(error);
        });
        return KIV_ERROR_NOT_STORED;
    }
    keep(next);
    return 0;
}

// A tree that comes back may be another one than the one that is published.
void daemon::keep(const tables &next)
{
    tables_ = next;
    std::erase_if(published_, [&](const std::string &file) {
        return search_entry_in_tree_table(&tables_.trees, file.c_str()) < 0;
    });
}

void daemon::merge()
{
    const merge_report report = publication_.publish(tables_.trees);
    ++status_.merges;
    left_out_ = report.left_out;
    for (const std::string &line : report.left_out)
        log_.complain("left out of the tree: " + line);
    word_ = report.left_out.empty() ? 0 : static_cast<uint32_t>(KIV_ERROR_TREE_UNUSABLE);
    if (report.error != 0) {
        log_.complain(std::string("cannot publish the tree: ") + std::strerror(report.error));
        word_ = KIV_ERROR_NOT_STORED;
        return;
    }
    published_ = report.files;
    status_.tree_number = static_cast<uint32_t>(report.trees);
    status_.nodes = static_cast<uint32_t>(report.nodes);
    status_.left_out = static_cast<uint32_t>(report.left_out.size());
    log_.write("tree " + publication_.name() + ": " + std::to_string(report.nodes) + " nodes of " +
               std::to_string(report.trees) + " trees");
}

// All that have ended are withdrawn at once, whether they are one or hundreds.
void daemon::ended()
{
    std::optional<process> gone = processes_.take_ended();
    if (!gone)
        return;
    tables next = tables_;
    bool had_trees = false;
    bool had_any = false;
    for (; gone; gone = processes_.take_ended()) {
        if (lock_ && lock_->owner == *gone) {
            lock_.reset();
            log_.write("lock released: process " + std::to_string(gone->pid) + " has ended");
        }
        const int32_t interfaces = next.interfaces.last_index;
        const bool had_tree = withdraw(next, *gone);
        had_trees = had_trees || had_tree;
        if (!had_tree && next.interfaces.last_index == interfaces)
            continue;
        had_any = true;
        log_.write("process " + std::to_string(gone->pid) +
                   " has ended: what it had registered is withdrawn");
    }
    // Where it cannot be stored it is withdrawn all the same: nobody serves these commands.
    if (had_any && commit(next) != 0)
        keep(next);
    if (had_trees)
        merge();
}

} // namespace kivd
