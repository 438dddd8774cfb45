#include "daemon_link.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <unistd.h>

#include <kiv/kivd_lib.h>
#include <kiv/platform/cmi.h>
#include <kiv/platform/syserr.h>

#include "files.h"
#include "interface_types.h"
#include "lab/kivd/status.h"

namespace kiv_shell {

namespace {

constexpr uint32_t daemon_service = 37;
constexpr uint32_t message_interface_table = 905;
constexpr uint32_t no_client = 0;
constexpr int32_t wait_seconds = 10;
constexpr int32_t short_wait_seconds = 1; // for one that has not answered before
constexpr const char *daemon_lock_file = "/run/kiv/FE000000-37.lock";
constexpr const char *daemon_state_file = "/ubex/etc/kivd/state";
constexpr const char *tree_directory = "/ubex/etc/par/";

struct freed {
    void operator()(void *block) const { std::free(block); }
};

const failure silent_daemon = "the daemon does not answer";
const failure absent_daemon = "the daemon is not there";

// Returns whether the daemon tells it.
bool fetch_status(int32_t seconds, kivd::daemon_status &told, bool &is_there)
{
    void *reply = nullptr;
    uint32_t size = 0;
    const int result = cmi_req_resp(kivd::message_status, CMI_MODE_QUERY, nullptr, &reply, &size,
                                    "", "", daemon_service, no_client, seconds);
    const std::unique_ptr<void, freed> block(reply);
    is_there = result != -1 || errno != EPIPE;
    if (result != 0 || size != sizeof told)
        return false;
    std::memcpy(&told, reply, sizeof told);
    return true;
}

int32_t session_id()
{
    return getpid();
}

failure lock_failure(int result)
{
    if (result == -1)
        return "the daemon does not answer: " + std::string(std::strerror(errno));
    return syserr2str(static_cast<uint32_t>(result));
}

} // namespace

daemon_link::daemon_link()
{
    ask(wait_seconds);
}

bool daemon_link::begins_to_answer()
{
    if (answers_)
        return false;
    ask(short_wait_seconds);
    return answers_;
}

bool daemon_link::was_there()
{
    return access(daemon_lock_file, F_OK) == 0 || access(daemon_state_file, F_OK) == 0;
}

void daemon_link::ask(int32_t seconds)
{
    kivd::daemon_status told;
    answers_ = fetch_status(seconds, told, is_there_);
    if (answers_)
        administrator_ = told.administrator;
}

daemon_link::~daemon_link()
{
    unlock();
}

std::string daemon_link::tree_path() const
{
    std::array<char, KIVD_PARFILE_NAME_SIZE> name{};
    if (!answers_ || kivd_kiv_dynamic_parfile_name_get(no_client, name.data()) != 0)
        return {};
    return std::string(tree_directory) + name.data();
}

failure daemon_link::fetch_lost_modules(std::set<std::string> &names) const
{
    void *reply = nullptr;
    uint32_t size = 0;
    if (!answers_)
        return silent_daemon;
    const int result = cmi_req_resp(kivd::message_missing, CMI_MODE_QUERY, nullptr, &reply, &size,
                                    "", "", daemon_service, no_client, wait_seconds);
    const std::unique_ptr<void, freed> block(reply);
    if (result != 0)
        return result == -1 && errno == EPIPE ? absent_daemon : silent_daemon;
    std::string_view text(static_cast<const char *>(reply), size);
    for (text = text.substr(0, text.find('\0')); !text.empty();) {
        const std::string_view name = text.substr(0, text.find('\n'));
        names.emplace(name);
        text.remove_prefix(std::min(name.size() + 1, text.size()));
    }
    return {};
}

void daemon_link::fetch_interface_types() const
{
    void *reply = nullptr;
    uint32_t size = 0;
    if (!answers_ || cmi_req_resp(message_interface_table, CMI_MODE_QUERY, nullptr, &reply, &size,
                                  "", "", daemon_service, no_client, wait_seconds) != 0)
        return;
    const std::unique_ptr<void, freed> block(reply);
    if (size != sizeof(kiv_interface_table))
        return;
    const auto &table = *static_cast<const kiv_interface_table *>(reply);
    const int32_t count = std::clamp(table.last_index + 1, 0, KIV_INTERFACE_TABLE_CAPACITY);
    take_interface_types({table.entries, static_cast<size_t>(count)});
}

std::optional<rights> daemon_link::user_rights(const tree_view &tree) const
{
    const uid_t user = geteuid();
    if (!is_there_ || is_administrator(user))
        return {};
    // Without the configured roles, only the predefined ones permit anything.
    std::vector<kivd_perm_group> configured;
    const failure failed = answers_ ? fetch_roles(configured) : silent_daemon;
    if (failed)
        complain(*failed);
    return rights(roles_of_user(kiv::roles::user_name(user)), std::move(configured), tree);
}

// A daemon that has come meanwhile is not asked for the lock: what its user may do, and which
// commands there are, is found out in the outermost mode.
failure daemon_link::lock()
{
    kivd::daemon_status told;
    bool has_come = is_there_;
    if (!is_there_)
        fetch_status(short_wait_seconds, told, has_come);
    if (!is_there_)
        return has_come ? failure("a daemon has come: leave configuration mode, or start again")
                        : failure();
    if (!answers_)
        return silent_daemon;
    if (const int result = kivd_cli_lock(no_client, session_id()); result != 0)
        return lock_failure(result);
    has_lock_ = true;
    return {};
}

void daemon_link::unlock()
{
    if (has_lock_)
        kivd_cli_unlock(no_client, session_id());
    has_lock_ = false;
}

std::vector<std::string> roles_of_user(const std::string &user)
{
    std::string text;
    if (const failure failed = read_file_if_there(kiv::roles::users_file, text))
        complain(*failed);
    std::vector<std::string> names = kiv::roles::roles_in(text, user);
    if (names.empty())
        names.emplace_back(kiv::roles::default_role);
    return names;
}

failure fetch_roles(std::vector<kivd_perm_group> &roles)
{
    kivd_perm_group *table = nullptr;
    void *vsans = nullptr;
    int32_t count = 0;
    if (kivd_perm_group_table_get(no_client, CMI_MODE_QUERY, &table, &vsans, &count) != 0)
        return "the daemon does not tell its roles";
    const std::unique_ptr<void, freed> tables[]{std::unique_ptr<void, freed>(table),
                                                std::unique_ptr<void, freed>(vsans)};
    roles.assign(table, table + count);
    return {};
}

} // namespace kiv_shell
