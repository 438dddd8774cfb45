// A command tree for tests, with what is hard about trees: words that are ambiguous, modes that
// know the same words, a mode that is linked to itself, a function that there is not, a setting
// outside configuration mode.
#ifndef KIV_TESTS_SMALL_TREE_H
#define KIV_TESTS_SMALL_TREE_H

#include <string>
#include <string_view>

#include <kiv/common.h>

#include "lab/kiv/parser.h"
#include "lab/kiv/tree.h"
#include "trees.h"

namespace kiv_shell::testing {

struct node_options {
    std::string_view function{};
    uint16_t priority = 0;
    uint32_t command_id = 0;
    std::string_view prompt{}; // of a mode
};

class tree_builder {
public:
    uint16_t keyword(uint16_t parent, std::string_view token, const node_options &chosen = {})
    {
        const uint16_t made = add(parent, chosen);
        trees::put(nodes_[made].token, token);
        return made;
    }

    uint16_t argument(uint16_t parent, kiv_parameter_type type, uint32_t minimum, uint32_t maximum,
                      const node_options &chosen)
    {
        const uint16_t made = add(parent, chosen);
        or_argument(made, type, minimum, maximum);
        return made;
    }

    void or_argument(uint16_t node, kiv_parameter_type type, uint32_t minimum, uint32_t maximum)
    {
        kiv_array_tree_node &record = nodes_[node];
        kiv_parameter &parameter = record.parameters[record.parameter_count];
        parameter.type = static_cast<uint32_t>(type);
        parameter.minimum = minimum;
        parameter.maximum = maximum;
        record.parameter_count = static_cast<uint16_t>(record.parameter_count + 1);
    }

    void link(uint16_t parent, uint16_t child) { trees::add_link(nodes_, parent, child); }

    trees::tree take() { return std::move(nodes_); }

private:
    uint16_t add(uint16_t parent, const node_options &chosen)
    {
        const auto made = static_cast<uint16_t>(nodes_.size());
        kiv_array_tree_node &node = nodes_.emplace_back();
        trees::put(node.func_id, chosen.function);
        trees::put(node.submode_prompt, chosen.prompt);
        node.asciigen_priority = chosen.priority;
        node.command_id = chosen.command_id;
        node.action = (chosen.function.empty() ? 0 : KIV_ACTION_TERMINAL) |
                      (chosen.prompt.empty() ? 0 : KIV_ACTION_SUBMODE);
        trees::add_child(nodes_, parent, made);
        return made;
    }

    trees::tree nodes_ = trees::of_nodes(1);
};

inline void add_settings(tree_builder &tree, uint16_t config)
{
    const uint16_t name = tree.keyword(config, "name");
    tree.argument(name, TYPE_STRING, 8, 0, {.function = "set", .priority = 10});
    const uint16_t banner = tree.keyword(config, "banner");
    tree.argument(banner, TYPE_LINE, 0, 0, {.function = "set", .priority = 1});
    const uint16_t host = tree.keyword(config, "host");
    tree.argument(host, TYPE_STRING, 0, 0, {.function = "add", .priority = 5});
    const uint16_t speed = tree.keyword(config, "speed");
    tree.keyword(speed, "auto", {.function = "set", .command_id = 7});
    tree.keyword(speed, "auto-sense", {.function = "set", .command_id = 7});
    const uint16_t value =
        tree.argument(speed, TYPE_INT, 1, 32, {.function = "set", .command_id = 7});
    tree.or_argument(value, TYPE_STRING, 5, 0);
    tree.keyword(config, "strange", {.function = "nowhere"});
    const uint16_t no = tree.keyword(config, "no");
    tree.keyword(no, "speed", {.function = "unset"});
    tree.keyword(no, "name", {.function = "unset"});
    const uint16_t no_host = tree.keyword(no, "host");
    tree.argument(no_host, TYPE_STRING, 0, 0, {.function = "unset"});
    const uint16_t no_vsan = tree.keyword(no, "vsan");
    tree.argument(no_vsan, TYPE_VSAN, 1, 4093, {.function = "unset"});
}

inline trees::tree small_tree_nodes()
{
    tree_builder tree;
    const uint16_t show = tree.keyword(0, "show");
    tree.keyword(show, "version", {.function = "show_version"});
    tree.keyword(show, "vsan", {.function = "nowhere"});
    tree.keyword(show, "running-config", {.function = "show_running_config"});
    tree.keyword(show, "two words", {.function = "show_version"});
    tree.keyword(0, "misplaced", {.function = "set"});
    const uint16_t configure = tree.keyword(0, "configure");
    const uint16_t config =
        tree.keyword(configure, "terminal", {.function = "configure_terminal", .prompt = "config"});
    add_settings(tree, config);
    const uint16_t vsan = tree.keyword(config, "vsan");
    const uint16_t mode = tree.argument(vsan, TYPE_VSAN, 1, 4093,
                                        {.function = "set", .priority = 3, .prompt = "vsan"});
    const uint16_t name = tree.keyword(mode, "name");
    tree.argument(name, TYPE_STRING, 0, 0, {.function = "set"});
    const uint16_t exit = tree.keyword(mode, "exit", {.function = "exit"});
    tree.link(mode, vsan);
    tree.link(config, exit);
    const uint16_t end = tree.keyword(config, "end", {.function = "end"});
    tree.link(mode, end);
    return tree.take();
}

struct small_tree {
    trees::tree nodes = small_tree_nodes();
    tree_view tree{nodes.data(), nodes.size()};
    node_index config = *tree.mode_of_function("configure_terminal");

    // The canonical line, with ">FILE" where there is one; or the position and text of the error.
    std::string parsed(node_index mode, const std::string &line) const
    {
        const parse_result result = parse_command(tree, mode, line);
        if (const auto *error = std::get_if<line_error>(&result))
            return std::to_string(error->position) + ": " + error->text;
        const command &found = std::get<command>(result);
        return canonical_line(found) + (found.output_file ? ">" + *found.output_file : "");
    }
};

} // namespace kiv_shell::testing

#endif
