// The running configuration: settings in blocks, one block for each mode that a setting enters.
#ifndef LAB_KIV_CONFIGURATION_H
#define LAB_KIV_CONFIGURATION_H

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "failure.h"
#include "parser.h"
#include "tree.h"

namespace kiv_shell {

// Modes within modes end here, in a session and in a file: a tree that links a mode to itself
// would allow any number of them.
constexpr size_t most_modes = 32;

// One line of the configuration.
struct setting {
    std::string text;               // canonical, without indentation
    std::vector<std::string> words; // the values in it
    std::string identity;           // a setting takes the place of one of the same identity
    uint16_t priority = 0;          // lower goes first
    std::optional<node_index> mode; // the mode that the line enters
    bool is_of_module = false;      // a module keeps this one
};

// The setting that a command stores. It is the same setting as one of
//
//  - the same text, when it enters a mode or its function is `add`;
//  - the same command id, when that is positive: for forms of a command that exclude each other;
//  - the same keywords, whatever the arguments, otherwise.
setting setting_of(const tree_view &tree, const command &parsed);

constexpr std::string_view add_function = "add";

class configuration {
public:
    configuration(const tree_view &tree, node_index mode) : tree_(tree), mode_(mode) {}

    // Takes over a text as text() gives it. A line that the tree does not know, with what stands
    // below it, is kept as it is, behind what it was behind: its module may come back. What
    // cannot be a configuration at all is a failure with the number of the line.
    failure load(std::string_view text);

    std::string text() const;

    // Text of somebody else that goes among the settings, by its priority.
    struct foreign_text {
        uint16_t priority;
        std::function<void(std::string &text)> append; // whole lines, indented as settings are
    };

    // What was kept before a module took it over stays in text(), for a switch without the module,
    // but is left out here: the module tells what is in force.
    //
    // Adds the same for people and for a configuration file, with texts that are ordered by their
    // priority: where a line would be taken for one of the mode before it, that mode's command with
    // the function `exit` stands in between.
    void write_to_apply(std::span<const foreign_text> texts, std::string &text) const;

    // `path` are the settings whose modes lead to the block, from the outermost on; those that
    // are missing are made.
    void put(const std::vector<setting> &path, setting value);

    // Removes the settings of a block that begin with these words, with what stands below them.
    void remove(const std::vector<setting> &path, const std::vector<std::string> &words);

    // What has been put since the last call, as text that load() takes to the same effect; and
    // whether anything has been removed.
    std::string take_added() { return std::exchange(added_, {}); }
    bool take_removed() { return std::exchange(removed_, false); }

private:
    // The order within a block: by priority, then as they came.
    using place = std::pair<uint16_t, uint64_t>;

    struct block;

    struct entry {
        setting value;
        std::unique_ptr<block> below;
    };

    struct block {
        std::map<place, entry> entries;
        std::unordered_map<std::string, place> places; // by identity
        uint64_t next = 0;
    };

    static entry &store(block &in, setting value);
    static block &below(entry &owner);
    setting read_line(std::optional<node_index> mode, const block &in, std::string_view line) const;

    template <class Visit>
    static void visit(const entry &known, size_t depth, Visit &each);

    tree_view tree_;
    node_index mode_;
    block top_;
    std::string added_;
    bool removed_ = false;
};

} // namespace kiv_shell

#endif
