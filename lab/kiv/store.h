// The file that holds the running configuration.
#ifndef LAB_KIV_STORE_H
#define LAB_KIV_STORE_H

#include <functional>
#include <string>

#include "failure.h"

namespace kiv_shell {

// A directory with the file running.cfg, which is always whole: a change is written beside it,
// forced to the disk and renamed over it. The lock file .lock keeps changes apart; readers need
// none.
class configuration_store {
public:
    explicit configuration_store(std::string directory) : directory_(std::move(directory)) {}

    std::string file_name() const { return directory_ + "/running.cfg"; }

    // A file or directory that is missing is an empty configuration.
    failure read(std::string &text) const;

    // Reads, lets `change` work on the text and writes it, in one go for every process. Nothing
    // is written when the change fails or leaves the text as it was.
    failure update(const std::function<failure(std::string &text)> &change) const;

private:
    failure write(const std::string &text) const;

    std::string directory_;
};

} // namespace kiv_shell

#endif
