#ifndef KIV_COMMON_FETCH_H
#define KIV_COMMON_FETCH_H

#include <kiv/common.h>

namespace kiv {

// Begins to bring a node into the processor's cache. Nodes are large and only parts of each are
// looked at, so the processor does not foresee what comes next. Any address will do.
inline void fetch(const kiv_array_tree_node &node)
{
    constexpr size_t cache_line = 64;
    const char *bytes = reinterpret_cast<const char *>(&node);
    for (size_t offset = 0; offset < sizeof node; offset += cache_line)
        __builtin_prefetch(bytes + offset);
}

} // namespace kiv

#endif
