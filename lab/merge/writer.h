#ifndef LAB_MERGE_WRITER_H
#define LAB_MERGE_WRITER_H

#include <vector>

#include "places.h"

namespace kiv::merge {

// The records in their one order: depth first from the root, siblings sorted; then what links alone
// lead to, in the order of the first links to it.
std::vector<kiv_array_tree_node> written(const places &tree);

} // namespace kiv::merge

#endif
