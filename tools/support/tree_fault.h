#ifndef SUPPORT_TREE_FAULT_H
#define SUPPORT_TREE_FAULT_H

#include <string>

#include <kiv/extras.h>

namespace kiv::support {

// Whether the fault is one node's, not that of the tree as a whole.
inline bool is_of_a_node(const kiv_tree_check_result &found)
{
    switch (found.fault) {
    case KIV_TREE_SOUND:
    case KIV_TREE_EMPTY:
    case KIV_TREE_CUT_OFF:
    case KIV_TREE_TOO_MANY_NODES:
        return false;
    default:
        return true;
    }
}

// What kiv_tree_check found, for people; with the node, unless the tree as a whole is at fault.
inline std::string tree_fault(const kiv_tree_check_result &found)
{
    const std::string text = kiv_tree_fault_text(found.fault);
    return is_of_a_node(found) ? "node " + std::to_string(found.node) + ": " + text : text;
}

} // namespace kiv::support

#endif
