// The rule of the comparison: within two ranges of lines, each block of the old text is paired with
// the first block of the new one that has the same first line and is not paired yet. So the first
// of several equal lines goes with the first, the second with the second, and so on.
#ifndef KIV_EXEC_DIFF_PAIRS_H
#define KIV_EXEC_DIFF_PAIRS_H

#include <vector>

#include "exec/diff_lines.h"
#include "exec/diff_waiting.h"

namespace kiv::diff {

class pairing {
public:
    // Fills `entries` with the blocks of both ranges, those of each side in their order. Pairs that
    // are equal to the last byte may be left out.
    void run(lines old_lines, lines new_lines, large_vector<entry> &entries);

private:
    waiting_table waiting_;
};

} // namespace kiv::diff

#endif
