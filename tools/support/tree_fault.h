#ifndef SUPPORT_TREE_FAULT_H
#define SUPPORT_TREE_FAULT_H

#include <string>

#include <kiv/extras.h>

namespace kiv::support {

// What kiv_tree_check found, for people; with the node, unless the tree as a whole is at fault.
inline std::string tree_fault(const kiv_tree_check_result &found)
{
    std::string text = kiv_tree_fault_text(found.fault);
    switch (found.fault) {
    case KIV_TREE_EMPTY:
    case KIV_TREE_CUT_OFF:
    case KIV_TREE_TOO_MANY_NODES:
        return text;
    default:
        return "node " + std::to_string(found.node) + ": " + text;
    }
}

} // namespace kiv::support

#endif
