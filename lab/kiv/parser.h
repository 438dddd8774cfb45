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
    bool is_rest_of_line = false;
};

struct command {
    node_index node = root_node; // where the command ends
    std::vector<matched_word> words;
    std::optional<std::string> output_file;
};

// The words in their canonical form, one blank between them, without the redirection. Parses as
// the same command again.
std::string canonical_line(const command &parsed);

// The rules of matching, for those who look at a line before it is complete.

struct keyword {
    node_index node;
    std::string_view token; // as long as the tree
};

// The keywords below a node that begin with the text, as the tree has them, each once: the same
// word may be there twice, through a link, and the first counts. A token that is not one word
// cannot be typed, nor stored in a line, and is none.
std::vector<keyword> keywords_with(const tree_view &tree, node_index parent, std::string_view text);

// Whether no word can follow the node's in a command.
bool is_last(const tree_view &tree, node_index node);

// Takes the words from `line` that lead on from the node of `into`, up to the end or to the
// redirection. A command need not end with them.
std::optional<line_error> match_words(const tree_view &tree, word_reader &line, command &into);

// Takes the redirection, if there is one, and what follows.
std::optional<line_error> match_redirection(word_reader &line, command &into);

// Goes behind a bare "do", which leads on from `mode` to the commands of the outermost mode. False
// where that is `mode` itself, or the mode has a keyword "do"; one that "do" begins gives way.
constexpr std::string_view do_word = "do";
constexpr const char *refused_behind_do =
    "a command that changes the mode cannot be run with \"do\"";
bool skip_do(const tree_view &tree, node_index mode, word_reader &line);

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
