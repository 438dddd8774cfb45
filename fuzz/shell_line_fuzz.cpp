// Any text as command lines: as words, as commands of a mode, as a stored configuration and as a
// configuration file. What is understood has a canonical form that is understood as the same.

#include <cstdint>
#include <string>
#include <string_view>

#include "lab/kiv/argument_types.h"
#include "lab/kiv/configuration.h"
#include "lab/kiv/handlers.h"
#include "lab/kiv/modes.h"
#include "lab/kiv/parser.h"
#include "require.h"
#include "tests/small_tree.h"

namespace {

using namespace kiv_shell;

using fuzz::require;

// Calls `use` with every line that is a command.
template <typename Use>
void for_each_command(std::string_view text, Use use)
{
    for (size_t start = 0; start < text.size();) {
        const std::string_view line = text.substr(start, text.find('\n', start) - start);
        if (!is_blank_or_comment(line))
            use(line);
        start += line.size() + 1;
    }
}

void check_line(const tree_view &tree, node_index mode, std::string_view line)
{
    const parse_result result = parse_command(tree, mode, line);
    if (const auto *error = std::get_if<line_error>(&result)) {
        require(error->position <= line.size() && !error->text.empty());
        return;
    }
    const std::string canonical = canonical_line(std::get<command>(result));
    const parse_result again = parse_command(tree, mode, canonical);
    require(std::holds_alternative<command>(again) &&
            canonical_line(std::get<command>(again)) == canonical);
}

void check_argument_types(std::string_view text)
{
    for (const uint32_t group : {0U, 0x400U, 0x401U, 0x402U, 0x403U, 0x404U, 0x405U, 0x406U}) {
        for (uint32_t bit = 0; bit < 8; ++bit) {
            kiv_parameter parameter{};
            parameter.type = group << 20 | 1U << bit;
            parameter.maximum = 100;
            if (check_argument(parameter, text) != fit::fits)
                continue;
            const std::string canonical = canonical_argument(parameter, text);
            require(check_argument(parameter, canonical) == fit::fits &&
                    canonical_argument(parameter, canonical) == canonical);
        }
    }
}

void check_configuration(const tree_view &tree, node_index mode, std::string_view text)
{
    configuration running(tree, mode);
    if (running.load(text))
        return;
    configuration again(tree, mode);
    require(!again.load(running.text()));
    require(again.text() == running.text());
}

// Runs a line in configuration mode or in one within it. Returns whether it could be run.
bool apply_line(const tree_view &tree, mode_stack &modes, std::string_view line, configuration &to)
{
    size_t depth = 0;
    const parse_result found = modes.find_command(tree, line, depth);
    const auto *parsed = std::get_if<command>(&found);
    if (parsed == nullptr || parsed->output_file)
        return false;
    const std::string_view function = tree.function(parsed->node);
    const handler *known = find_handler(tree, parsed->node);
    if (known == nullptr)
        return false;
    modes.leave_to(depth);
    if (function == "set" || function == add_function)
        to.put(modes.path_from(1), setting_of(tree, *parsed));
    return !modes.advance(tree, *parsed, known->after);
}

// Returns whether every line could be run.
bool apply(const tree_view &tree, node_index mode, std::string_view text, configuration &to)
{
    mode_stack modes({{root_node, {}}, {mode, {}}});
    bool done = true;
    for_each_command(
        text, [&](std::string_view line) { done = apply_line(tree, modes, line, to) && done; });
    return done;
}

// What is shown of a configuration makes the same one.
void check_text_to_apply(const tree_view &tree, node_index mode, std::string_view text)
{
    configuration running(tree, mode);
    apply(tree, mode, text, running);
    configuration again(tree, mode);
    std::string shown;
    running.write_to_apply({}, shown);
    require(apply(tree, mode, shown, again));
    require(again.text() == running.text());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const testing::small_tree small;
    const tree_view &tree = small.tree;
    const node_index config = small.config;
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    for_each_command(text, [&](std::string_view line) {
        check_line(tree, root_node, line);
        check_line(tree, config, line);
        check_argument_types(line);
    });
    check_configuration(tree, config, text);
    check_text_to_apply(tree, config, text);
    return 0;
}
