// Command trees for everybody: three files in turn, of which readers take the newest
// (kiv/parfile.h). A tree is published whole or not at all, whenever the process or the machine
// stops, and stays as it is for who has it open or mapped.
//
// Both functions set the directory and the ring of kiv/parfile.h for the process.
#ifndef SUPPORT_PUBLISHED_TREES_H
#define SUPPORT_PUBLISHED_TREES_H

#include <string>
#include <string_view>

namespace kiv::support {

// Where the shell looks for one.
inline constexpr const char *published_directory = "/ubex/etc/par";

// Puts the tree, which is not looked into, on the disk and sends readers to it. Stores the name of
// its file, without the directory. Returns 0, or an errno value with `name` unchanged; readers then
// go to the tree they went to before, or to this one where only the last step failed:
// ENAMETOOLONG for a directory that does not fit the library's paths, EIO where the clock makes
// every marker older than none. Publishers at the same time take turns.
int publish_tree(const std::string &directory, std::string_view tree, std::string &name);

// The path of the tree that was published last; empty where there is none.
std::string published_tree(const std::string &directory);

} // namespace kiv::support

#endif
