// Which commands a user may run.
#ifndef LAB_KIV_RIGHTS_H
#define LAB_KIV_RIGHTS_H

#include <string>
#include <vector>

#include "lab/roles/decision.h"
#include "parser.h"
#include "tree.h"

namespace kiv_shell {

// What a command is to the rules of roles: its first word, or "config" for all of configuration
// mode, and as its feature the word behind that; in configuration mode the first word, "no" aside.
kiv::roles::action action_of(const command &parsed, bool configures);

// The roles of one user. A predefined role may run a command when every node on its way names the
// role in its mask; a configured one when its rules say so. Leaving a mode is open to everybody.
class rights {
public:
    rights(std::vector<std::string> names, std::vector<kivd_perm_group> configured,
           const tree_view &tree);

    // `configures`: the command is one of configuration mode.
    kiv::roles::decision may_run(const command &parsed, bool configures) const;

private:
    kiv::roles::decision of_role(const std::string &name, const command &parsed,
                                 bool configures) const;
    kiv::roles::decision of_predefined(const std::string &name, int32_t number,
                                       const command &parsed, bool configures) const;

    std::vector<std::string> names_;
    std::vector<kivd_perm_group> configured_;
    tree_view tree_;
    std::vector<node_index> way_to_configuration_;
};

} // namespace kiv_shell

#endif
