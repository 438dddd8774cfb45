// The tree that everybody reads: the shell's own commands and the contributed trees, merged.
//
// Each one is a numbered file of its own, "main_tree%u.par" with its marker (kiv/parfile.h), which
// appears whole. The one before it stays, for readers who have just asked for its name.
#ifndef LAB_KIVD_PUBLICATION_H
#define LAB_KIVD_PUBLICATION_H

#include <string>
#include <string_view>
#include <vector>

#include "tables.h"

namespace kivd {

struct merge_report {
    int error = 0; // 0, or why there is no new tree: an errno value
    size_t nodes = 0;
    size_t trees = 0;                  // that are in it, the shell's own among them
    std::vector<std::string> files;    // of the contributed trees that are in it
    std::vector<std::string> left_out; // of each tree that is not: its name and why
};

class publication {
public:
    // The folder of the contributed trees and of the merged ones.
    explicit publication(std::string directory) : directory_(std::move(directory)) {}

    // Takes over the numbered files: only the one daemon that serves may, because the newest file
    // of those before it is removed.
    void open();

    // Merges what the table names and publishes the result.
    merge_report publish(const kiv_tree_table &trees);

    // The name of the file in force, without its folder; empty where there is none.
    std::string name() const;

private:
    int write(const std::string &bytes);
    void remove_file(const std::string &name) const;
    void remove_leftovers() const;

    std::string directory_;
    std::string before_; // the file that was in force before
    bool published_ = false;
};

// Whether a file has a name that only merged trees and their markers have.
bool is_published_name(std::string_view name);

} // namespace kivd

#endif
