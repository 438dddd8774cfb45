// The file that holds the running configuration.
#ifndef LAB_KIV_STORE_H
#define LAB_KIV_STORE_H

#include <string>
#include <string_view>

#include <sys/stat.h>

#include "failure.h"
#include "support/unique_fd.h"

namespace kiv_shell {

// A directory with the file running.cfg. A change is appended to it, or a new file is written
// beside it and renamed over it. A line without an end is one whose writer was killed, or has not
// done yet: readers leave it out, and so need no lock.
class configuration_store {
public:
    explicit configuration_store(std::string directory) : directory_(std::move(directory)) {}

    std::string file_name() const { return directory_ + "/running.cfg"; }

    // A file or directory that is missing is an empty configuration. `is_whole` tells whether
    // nothing was left out.
    failure read(std::string &text, bool &is_whole) const;

    // Whoever has the lock .lock is the only one to change the file.
    failure lock();
    void unlock();

    // Which file it is, how long, and when it was changed.
    struct state {
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;
        timespec changed{};

        bool operator==(const state &other) const;
    };
    state now() const;

    // While locked. A failed change leaves the file as it was, which is `file` for append(). What
    // is appended is on the disk after settle(), a new file at once.
    failure append(std::string_view text, const state &file);
    failure replace(const std::string &text);
    failure settle() const;

private:
    failure open_for(const state &file);

    std::string directory_;
    kiv::support::unique_fd lock_;
    kiv::support::unique_fd appended_; // open as long as it has the name
    state known_;                      // of that file
};

} // namespace kiv_shell

#endif
