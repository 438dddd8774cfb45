// The parts of the running configuration that modules keep.
#ifndef LAB_KIV_CONFIGURATION_PARTS_H
#define LAB_KIV_CONFIGURATION_PARTS_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "failure.h"
#include "tree.h"

namespace kiv_shell {

class part_request;

// All that the tree names, by priority and then by name. They are asked for at once, those of one
// module one after the other.
class configuration_parts {
public:
    configuration_parts(const tree_view &tree, int wait_seconds);
    ~configuration_parts();
    configuration_parts(const configuration_parts &) = delete;
    configuration_parts &operator=(const configuration_parts &) = delete;

    size_t size() const { return parts_.size(); }
    uint16_t priority(size_t index) const { return parts_[index].priority; }

    // Adds a part; in place of one that cannot be had, a comment line that says so. Each part is
    // taken once, in their order.
    void append(size_t index, std::string &text);

    // The comment lines.
    const std::string &missing() const { return missing_; }

private:
    struct part {
        uint16_t priority;
        uint16_t service;
        std::string generator;
        std::string module;
        std::unique_ptr<part_request> request{}; // from when it is asked for until it is here
        failure missing{};
    };

    void ask_for_next(size_t from, uint16_t service);
    void take(size_t index, std::string &text);

    std::vector<part> parts_;
    int wait_seconds_;
    std::string missing_;
};

} // namespace kiv_shell

#endif
