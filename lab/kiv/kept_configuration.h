// The settings that the shell itself keeps, as they are in the store.
#ifndef LAB_KIV_KEPT_CONFIGURATION_H
#define LAB_KIV_KEPT_CONFIGURATION_H

#include <functional>
#include <optional>
#include <string>

#include "configuration.h"
#include "failure.h"
#include "store.h"
#include "tree.h"

namespace kiv_shell {

class kept_configuration {
public:
    // The tree and the store outlive it. `mode`: the one whose commands are the settings.
    kept_configuration(const tree_view &tree, configuration_store &store,
                       std::optional<node_index> mode);

    // For a tree that has changed.
    void take_mode(std::optional<node_index> mode);

    failure read(configuration &into) const;

    // An empty configuration, to be filled.
    configuration empty() const { return {tree_, mode_.value_or(root_node)}; }

    // Has `work` change the configuration, and stores that. Where it fails, nothing is changed.
    using change = std::function<failure(configuration &settings)>;
    failure update(const change &work);

    // Everything that update() is called for while `work` runs is stored at its end, or nothing if
    // it fails.
    failure in_one_change(const std::function<failure()> &work);
    bool is_changing() const { return in_change_; }

    // Makes sure that what has been stored is on the disk.
    failure settle();

private:
    failure begin();
    failure load_again();
    failure store_changes();

    const tree_view &tree_;
    configuration_store &store_;
    std::optional<node_index> mode_;
    // What the file held when it was as `known_`, so that a change needs not read all of it.
    std::optional<configuration> settings_;
    configuration_store::state known_;
    off_t compact_size_ = 0; // of the file without repetitions
    bool is_whole_ = true;
    bool in_change_ = false;
    bool has_begun_ = false; // the store is locked, and its settings are here
    bool is_settled_ = true;
};

} // namespace kiv_shell

#endif
