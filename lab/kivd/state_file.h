// The tables on the disk.
//
// A file is whole or it is not there: it is written beside the old one, which it replaces when it
// is on the disk, and the one before stays as well. It begins with a version and a checksum; one
// that does not fit is set aside, and the one before is taken.
#ifndef LAB_KIVD_STATE_FILE_H
#define LAB_KIVD_STATE_FILE_H

#include <string>
#include <string_view>
#include <vector>

#include "tables.h"

namespace kivd {

class state_file {
public:
    explicit state_file(std::string directory);

    // Makes the directory where it is missing, and loads what was stored last, or the tables of a
    // new switch. `remarks` gets what an administrator should know. Returns 0 or an errno value.
    int load(tables &all, std::vector<std::string> &remarks);

    // Returns 0 when the tables are on the disk, or an errno value; what was stored before is in
    // force then.
    int store(const tables &all);

private:
    enum class outcome { loaded, missing, unusable };

    outcome read(const std::string &name, tables &all, std::vector<std::string> &remarks) const;
    int keep_previous() const;

    std::string current_;
    std::string previous_;
    std::string directory_;
};

} // namespace kivd

#endif
