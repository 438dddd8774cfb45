#include "permissions.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "support/files.h"
#include "support/unique_fd.h"

namespace kivd {

namespace {

constexpr size_t longest_users_file = 1 << 20;

// Read at each decision: it is short, and who edits it expects it to hold at once.
std::string read_users(const std::string &name)
{
    // A pipe of that name is not waited for.
    const kiv::support::unique_fd file(open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status;
    std::string text;
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        kiv::support::read_all(file.get(), longest_users_file, text) != 0)
        return {};
    return text;
}

} // namespace

permissions::permissions(uid_t administrator, std::string users_file)
    : administrator_(administrator), users_file_(std::move(users_file))
{
}

kiv::roles::decision permissions::may_change(const tables &all, const ovra_peer &sender,
                                             std::string_view feature) const
{
    if (is_administrator(sender))
        return {true, std::string(kiv::roles::administrator_role), 0, "administrator"};
    return kiv::roles::decide(roles_of(sender.uid),
                              std::span(all.roles).first(static_cast<size_t>(all.role_count)),
                              {KIVD_COMMAND_CONFIG, feature, feature.empty()});
}

bmask4096 permissions::vsans(const tables &all, uid_t user) const
{
    bmask4096 permitted = KIV_BMP_INIT(4096);
    const auto permit = [&](const auto &bytes_of_role) {
        for (size_t i = 0; i < std::size(permitted.bytes); ++i)
            permitted.bytes[i] = static_cast<uint8_t>(permitted.bytes[i] | bytes_of_role(i));
    };
    const auto every = [](size_t) { return uint8_t{0xFF}; };
    if (is_administrator(user)) {
        permit(every);
        return permitted;
    }
    for (const std::string &name : roles_of(user)) {
        const int32_t configured = find_role(all, name);
        if (kivd_static_perm_group_locate_entry_by_name(
                kivd_static_perm_group_table, kivd_static_perm_group_table_size, name.c_str()) >= 0)
            permit(every);
        else if (configured >= 0)
            permit(
                [&](size_t i) { return all.role_vsans[static_cast<size_t>(configured)].bytes[i]; });
    }
    return permitted;
}

std::vector<std::string> permissions::roles_of(uid_t user) const
{
    std::vector<std::string> names =
        kiv::roles::roles_in(read_users(users_file_), kiv::roles::user_name(user));
    if (names.empty())
        names.emplace_back(kiv::roles::default_role);
    return names;
}

} // namespace kivd
