// The files that the jobs of `kivctl tree` read and make.
#ifndef KIVCTL_TREE_FILES_H
#define KIVCTL_TREE_FILES_H

#include <string>
#include <string_view>

#include <kiv/extras.h>

#include "grammar/tree_records.h"
#include "support/mapped_file.h"

namespace kivctl {

// A parse-tree file, sound or not. It is mapped: whoever looks at its nodes other than through
// records() needs a copy, since the file may be written to at any time.
class tree_file {
public:
    // Returns the exit status; what is wrong has been said then.
    int open(const char *path);

    // Opens the file and refuses a tree that is not sound.
    int open_sound(const char *path);
    int open_sound_copy(const char *path);

    // The first fault of the tree; KIV_TREE_SOUND where there is none.
    kiv_tree_check_result check() const;

    std::string_view bytes() const { return copy_.empty() ? file_.bytes() : copy_; }
    size_t node_count() const { return bytes().size() / sizeof(kiv_array_tree_node); }
    kiv::grammar::tree_records records() const;

private:
    int refuse_faults(const char *path) const;

    kiv::support::mapped_file file_;
    std::string copy_;
};

std::string node_count_text(size_t count);

// Puts a text in the place of `output`, or prints it where that is null. Refuses to put it in the
// place of the file that it was made from, which is called `role` then.
int deliver(std::string_view text, const char *output, const char *source, const char *role);

// Whether the two names are of one file.
bool are_one_file(const char *source, const char *output);

} // namespace kivctl

#endif
