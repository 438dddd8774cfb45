// Command lines matched against a tree.
#ifndef LAB_KIV_PARSER_H
#define LAB_KIV_PARSER_H

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tree.h"
#include "words.h"

namespace kiv_shell {

struct matched_word {
    node_index node;
    bool is_keyword;
    std::string value;     // the keyword in full; the argument in its one spelling
    std::string canonical; // the value as it stands in a line
};

struct command {
    node_index node = root_node; // where the command ends
    std::vector<matched_word> words;
    std::optional<std::string> output_file;
};

// The words in their canonical form, one blank between them, without the redirection. Parses as
// the same command again.
std::string canonical_line(const command &parsed);

using parse_result = std::variant<command, line_error>;

// Matches a line, which is neither blank nor a comment, against the children of `mode`:
//
//  - A bare word is the keyword that it is or, while only one begins with it, the keyword that it
//    begins. A quoted word is never a keyword.
//  - What is no keyword goes to the arguments, in their order.
//  - A line argument takes the rest of the line as it stands, quotes and '>' as well. It cannot
//    begin with '>', which is the redirection there.
//  - A command that enters a mode ends at its node: the node's children are the mode's commands.
parse_result parse_command(const tree_view &tree, node_index mode, std::string_view line);

} // namespace kiv_shell

#endif
