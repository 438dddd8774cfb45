// What fuzz targets demand of the code under test.
#ifndef KIV_FUZZ_REQUIRE_H
#define KIV_FUZZ_REQUIRE_H

#include <cstdlib>

namespace fuzz {

inline void require(bool holds)
{
    if (!holds)
        std::abort();
}

} // namespace fuzz

#endif
