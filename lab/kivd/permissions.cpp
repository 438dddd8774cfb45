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

kiv::roles::decision decide_change(const tables &all, std::span<const std::string> names,
                                   std::string_view feature)
{
    return kiv::roles::decide(names,
                              std::span(all.roles).first(static_cast<size_t>(all.role_count)),
                              {KIVD_COMMAND_CONFIG, feature, feature.empty()});
}

} // namespace

permissions::permissions(uid_t administrator, std::string users_file)
    : administrator_(administrator), users_file_(std::move(users_file))
{
}

kiv::roles::decision permissions::may_change(const tables &all, uid_t user,
                                             std::string_view feature) const
{
    if (is_administrator(user))
        return {true, std::string(kiv::roles::administrator_role), 0, "administrator"};
    return decide_change(all, roles_of(user), feature);
}

bmask4096 permissions::vsans(const tables &all, uid_t user) const
{
    return vsans_of_roles(all, user, [](const std::string &) { return true; });
}

bmask4096 permissions::vsans_to_change(const tables &all, uid_t user,
                                       std::string_view feature) const
{
    return vsans_of_roles(all, user, [&](const std::string &role) {
        return decide_change(all, std::span(&role, 1), feature).permitted;
    });
}

template <class Counts>
bmask4096 permissions::vsans_of_roles(const tables &all, uid_t user, Counts counts) const
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
        if (!counts(name))
            continue;
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
