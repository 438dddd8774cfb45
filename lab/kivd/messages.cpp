// One row for each message: its size, who may send it, and what it does.

#include <algorithm>
#include <array>
#include <cstring>

#include <kiv/platform/syserr.h>

#include "messages.h"
#include "support/field_text.h"

namespace kivd {

namespace {

template <class Record>
std::span<const std::byte> bytes_of(const Record &record, size_t size = sizeof(Record))
{
    return std::as_bytes(std::span(&record, 1)).first(size);
}

template <class Record>
Record record_of(const request &asked)
{
    Record record;
    std::memcpy(&record, asked.payload.data(), sizeof record);
    return record;
}

// As the clients send settings: an extra word in front of the record, whose last word stays behind.
struct settings_message {
    int32_t extra;
    std::byte settings[124];
};

struct lock_message {
    int32_t lock;
    int32_t session;
};

constexpr uint32_t platform_online = 3225;

} // namespace

// The bodies of the rows. Those that change something work on a copy, which commit() stores.
struct handlers {
    using self = daemon &;
    using asked = const request &;

    template <class Record, auto Change>
    static reply change(self me, asked message)
    {
        tables next = me.tables_;
        const uint32_t status = Change(next, record_of<Record>(message));
        return {message.opcode, status != 0 ? status : me.commit(next)};
    }

    // The process that something is to belong to. One that has ended, and whose number it may have
    // by now, is seen off first.
    static std::optional<process> owner_of(self me, asked message)
    {
        me.ended();
        return me.processes_.follow(static_cast<int32_t>(message.sender.pid));
    }

    template <class Record, auto Change>
    static reply change_of_owner(self me, asked message)
    {
        const std::optional<process> owner = owner_of(me, message);
        if (!owner)
            return {message.opcode, KIV_ERROR_DENIED};
        tables next = me.tables_;
        const uint32_t status = Change(next, record_of<Record>(message), *owner);
        return {message.opcode, status != 0 ? status : me.commit(next)};
    }

    static uint32_t take_switchname(tables &all, const settings_message &message)
    {
        std::array<char, KIVD_SWITCHNAME_SIZE> name;
        std::memcpy(name.data(), message.settings, name.size());
        const size_t length = strnlen(name.data(), name.size());
        if (length == 0 || length == name.size())
            return KIV_ERROR_BAD_MESSAGE;
        std::memcpy(all.settings.switchname, name.data(), name.size());
        return 0;
    }

    template <int32_t kiv_cfg_info::*Member>
    static uint32_t take_number(tables &all, const settings_message &message)
    {
        kiv_cfg_info sent{};
        std::memcpy(&sent, message.settings, sizeof message.settings);
        if (sent.*Member < 0)
            return KIV_ERROR_BAD_MESSAGE;
        all.settings.*Member = sent.*Member;
        return 0;
    }

    // A change of a role, told in the words of its accounting line.
    template <auto Change>
    static reply change_role(self me, asked message)
    {
        const auto wanted = record_of<kivd_perm_group_conf_cli_wrapper>(message);
        tables next = me.tables_;
        uint32_t status = Change(next, wanted);
        if (status == 0)
            status = me.commit(next);
        if (status == 0) {
            std::array<char, KIVD_ROLE_TEXT_SIZE> line{};
            kivd_perm_group_wrapper_cli_str_get(line.data(), static_cast<int32_t>(message.opcode),
                                                &wanted);
            me.log_.write(line.data() + (" by " + kiv::roles::user_name(message.sender.uid)));
        }
        return {message.opcode, status};
    }

    static reply remove_interface(self me, asked message)
    {
        tables next = me.tables_;
        const uint32_t status = kivd::remove_interface(next, record_of<uint64_t>(message));
        return {message.opcode, status != 0 ? status : me.commit(next)};
    }

    static reply interfaces(self me, asked message)
    {
        return {message.opcode, 0, bytes_of(me.tables_.interfaces)};
    }

    static reply roles(self me, asked message)
    {
        return {message.opcode, 0,
                bytes_of(me.tables_.roles,
                         static_cast<size_t>(me.tables_.role_count) * sizeof(kivd_perm_group))};
    }

    static reply role_vsans(self me, asked message)
    {
        return {message.opcode, 0,
                bytes_of(me.tables_.role_vsans,
                         static_cast<size_t>(me.tables_.role_count) * sizeof(bmask4096))};
    }

    static reply verify_role(self me, asked message)
    {
        const auto wanted = record_of<kivd_perm_group_conf_cli_wrapper>(message);
        const std::string name(wanted.role_name, strnlen(wanted.role_name, KIVD_ROLE_NAME_SIZE));
        const bool exists = kivd_static_perm_group_locate_entry_by_name(
                                kivd_static_perm_group_table, kivd_static_perm_group_table_size,
                                name.c_str()) >= 0 ||
                            find_role(me.tables_, name) >= 0;
        return {message.opcode, exists ? 0 : static_cast<uint32_t>(KIV_ERROR_ROLE_UNKNOWN)};
    }

    static reply settings(self me, asked message)
    {
        return {message.opcode, 0, bytes_of(me.tables_.settings)};
    }

    static reply merge(self me, asked message)
    {
        me.merge();
        return {message.opcode, 0, bytes_of(me.word_)};
    }

    static reply trees(self me, asked message)
    {
        return {message.opcode, 0, bytes_of(me.tables_.trees)};
    }

    static reply subtypes(self me, asked message)
    {
        return {message.opcode, 0, bytes_of(me.tables_.subtypes)};
    }

    static reply tree_name(self me, asked message)
    {
        me.text_ = me.publication_.name();
        if (me.text_.empty())
            return {message.opcode, KIV_ERROR_NOT_FOUND};
        return {message.opcode, 0, std::as_bytes(std::span(me.text_.c_str(), me.text_.size() + 1))};
    }

    static reply lock(self me, asked message)
    {
        const auto wanted = record_of<lock_message>(message);
        const std::optional<process> owner = owner_of(me, message);
        if (!owner)
            return {message.opcode, KIV_ERROR_DENIED};
        const bool same_session = me.lock_ && me.lock_->session == wanted.session;
        const bool own =
            same_session && me.lock_->owner == *owner && me.lock_->user == message.sender.uid;
        const bool broken =
            same_session && wanted.lock == 0 && me.permissions_.is_administrator(message.sender);
        if (me.lock_ && !own && !broken)
            return {message.opcode, KIV_ERROR_LOCKED};
        if (wanted.lock == 0)
            me.lock_.reset();
        else
            me.lock_ = daemon::lock_holder{*owner, wanted.session, message.sender.uid};
        return {message.opcode};
    }

    static reply notice(self me, asked message)
    {
        ++me.status_.notices;
        return {message.opcode};
    }

    static reply online(self, asked) { return {platform_online}; }

    static reply status(self me, asked message)
    {
        using namespace std::chrono;
        me.status_.uptime = static_cast<uint64_t>(
            duration_cast<seconds>(steady_clock::now() - me.started_).count());
        me.status_.lock_pid = me.lock_ ? me.lock_->owner.pid : 0;
        me.status_.lock_session = me.lock_ ? me.lock_->session : 0;
        return {message.opcode, 0, bytes_of(me.status_)};
    }

    static reply merge_report(self me, asked message) { return tell(me, message, me.left_out_); }

    static reply missing(self me, asked message)
    {
        me.ended();
        return tell(me, message, missing_modules(me.tables_, me.published_));
    }

    static reply tell(self me, asked message, const std::vector<std::string> &lines)
    {
        constexpr size_t room = OVRA_MAX_PAYLOAD - 64;
        me.text_.clear();
        size_t told = 0;
        for (; told < lines.size(); ++told) {
            if (me.text_.size() + lines[told].size() >= room)
                break;
            me.text_.append(lines[told]).append("\n");
        }
        if (const size_t more = lines.size() - told; more > 0)
            me.text_.append("and ").append(std::to_string(more)).append(" more\n");
        return {message.opcode, 0, std::as_bytes(std::span(me.text_.c_str(), me.text_.size() + 1))};
    }

    static reply sender(self me, asked message)
    {
        const auto wanted = record_of<sender_question>(message);
        me.ended();
        const std::string feature(kiv::support::field_text(wanted.feature));
        const bool changes = wanted.changes != 0;
        const bool may_change =
            changes && me.permissions_.may_change(me.tables_, wanted.user, feature).permitted;
        const bool has_lock =
            me.lock_ && me.lock_->owner.pid == wanted.pid && me.lock_->user == wanted.user;
        me.sender_ = {me.permissions_.is_administrator(wanted.user), may_change,
                      may_change && has_lock, 0,
                      changes ? me.permissions_.vsans_to_change(me.tables_, wanted.user, feature)
                              : me.permissions_.vsans(me.tables_, wanted.user)};
        return {message.opcode, 0, bytes_of(me.sender_)};
    }
};

namespace {

using wrapper = kivd_perm_group_conf_cli_wrapper;

constexpr auto at_daemon = static_cast<uint8_t>(access_point::daemon);
constexpr auto at_platform = static_cast<uint8_t>(access_point::platform);
constexpr auto at_active = static_cast<uint8_t>(access_point::active_node);

// Rows without a feature are open to everybody.
constexpr std::array message_table{
    message{900, "register interface type", sizeof(kiv_interface_table_entry), at_daemon,
            "registration", handlers::change_of_owner<kiv_interface_table_entry, add_interface>},
    message{901, "deregister interface type", sizeof(uint64_t), at_daemon, "registration",
            handlers::remove_interface},
    message{905, "interface table", 0, at_daemon, nullptr, handlers::interfaces},
    message{911, "change rule of role", sizeof(wrapper), at_daemon, "role",
            handlers::change_role<change_rule>},
    message{912, "roles", 0, at_daemon, nullptr, handlers::roles},
    message{913, "change description of role", sizeof(wrapper), at_daemon, "role",
            handlers::change_role<change_description>},
    message{914, "verify role", sizeof(wrapper), at_daemon, nullptr, handlers::verify_role},
    message{916, "settings", 0, at_daemon, nullptr, handlers::settings},
    message{917, "set name of switch", sizeof(settings_message), at_platform | at_daemon,
            "switchname", handlers::change<settings_message, handlers::take_switchname>},
    message{919, "create or delete role", sizeof(wrapper), at_daemon, "role",
            handlers::change_role<change_role>},
    message{
        935, "set session time-out", sizeof(settings_message), at_daemon, "session",
        handlers::change<settings_message, handlers::take_number<&kiv_cfg_info::session_timeout>>},
    message{936, "set session time-out, second form", sizeof(settings_message), at_daemon,
            "session",
            handlers::change<settings_message,
                             handlers::take_number<&kiv_cfg_info::session_timeout_second_form>>},
    message{937, "merge trees", 0, at_daemon, "registration", handlers::merge},
    message{938, "tree table", 0, at_daemon, nullptr, handlers::trees},
    message{940, "lock notice", sizeof(lock_message), at_active | at_daemon, "", handlers::lock},
    message{943, "configuration notice", 0, at_platform, nullptr, handlers::notice},
    message{944, "online request", 0, at_platform, nullptr, handlers::online},
    message{946, "virtual SANs of roles", 0, at_daemon, nullptr, handlers::role_vsans},
    message{947, "register parameter subtype", sizeof(kivd_param_subtype_entry), at_daemon,
            "registration", handlers::change<kivd_param_subtype_entry, add_subtype>},
    message{948, "parameter subtypes", 0, at_daemon, nullptr, handlers::subtypes},
    message{7655, "register tree", sizeof(kiv_tree_table_entry), at_daemon, "registration",
            handlers::change_of_owner<kiv_tree_table_entry, add_tree>},
    message{7656, "deregister tree", sizeof(kiv_tree_table_entry), at_daemon, "registration",
            handlers::change<kiv_tree_table_entry, remove_tree>},
    message{7658, "name of tree file", 0, at_daemon, nullptr, handlers::tree_name},
    message{7661, "set limit of sessions", sizeof(settings_message), at_daemon, "session",
            handlers::change<settings_message, handlers::take_number<&kiv_cfg_info::max_sessions>>},
    message{message_status, "status", 0, at_daemon, nullptr, handlers::status},
    message{message_merge_report, "merge report", 0, at_daemon, nullptr, handlers::merge_report},
    message{message_sender, "question about a sender", sizeof(sender_question), at_daemon, nullptr,
            handlers::sender},
    message{message_missing, "missing modules", 0, at_daemon, nullptr, handlers::missing},
};

static_assert(std::ranges::is_sorted(message_table, {}, &message::opcode));

} // namespace

const message *find_message(uint32_t opcode, access_point where)
{
    const auto *found = std::ranges::lower_bound(message_table, opcode, {}, &message::opcode);
    const bool here = found != message_table.end() && found->opcode == opcode &&
                      (found->where & static_cast<uint8_t>(where)) != 0;
    return here ? found : nullptr;
}

} // namespace kivd
