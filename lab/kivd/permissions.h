// Who may change what.
#ifndef LAB_KIVD_PERMISSIONS_H
#define LAB_KIVD_PERMISSIONS_H

#include <string>

#include <kiv/platform/ovra.h>

#include "lab/roles/decision.h"
#include "tables.h"

namespace kivd {

class permissions {
public:
    // `administrator` may change everything, and so may root.
    permissions(uid_t administrator, std::string users_file);

    uid_t administrator() const { return administrator_; }

    bool is_administrator(uid_t user) const { return user == 0 || user == administrator_; }
    bool is_administrator(const ovra_peer &sender) const { return is_administrator(sender.uid); }

    // Whether the user may change the configuration of this feature; without one, that of any
    // feature.
    kiv::roles::decision may_change(const tables &all, uid_t user, std::string_view feature) const;

    // Those that one of the user's roles permits. The predefined roles permit all.
    bmask4096 vsans(const tables &all, uid_t user) const;

    // The same of those roles alone that permit changing the configuration of this feature.
    bmask4096 vsans_to_change(const tables &all, uid_t user, std::string_view feature) const;

private:
    template <class Counts>
    bmask4096 vsans_of_roles(const tables &all, uid_t user, Counts counts) const;
    std::vector<std::string> roles_of(uid_t user) const;

    uid_t administrator_;
    std::string users_file_;
};

} // namespace kivd

#endif
