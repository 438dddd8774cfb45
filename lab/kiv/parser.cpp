#include "parser.h"

#include <algorithm>

#include "argument_types.h"
#include "failure.h"

namespace kiv_shell {

namespace {

constexpr size_t most_expectations = 12;
constexpr size_t longest_shown_word = 40;

std::string shown_word(std::string_view text)
{
    if (text.size() <= longest_shown_word)
        return "\"" + printable(text) + "\"";
    const size_t length = character_start(text, longest_shown_word);
    return "\"" + printable(text.substr(0, length)) + "...\"";
}

// The keyword of a node. A token that is not one word cannot be typed, nor stored in a line.
std::string_view keyword_of(const tree_view &tree, node_index node)
{
    if (tree.is_argument(node) || !is_plain_word(tree.token(node)))
        return {};
    return tree.token(node);
}

std::string describe_argument(const tree_view &tree, node_index node)
{
    std::string text;
    for (const kiv_parameter &parameter : tree.parameters(node))
        text.append(text.empty() ? "" : " or ").append(describe_parameter(parameter));
    return text;
}

// A list for messages, cut where it gets long.
std::string joined(std::vector<std::string> texts)
{
    std::sort(texts.begin(), texts.end());
    texts.erase(std::unique(texts.begin(), texts.end()), texts.end());
    std::string list;
    for (size_t i = 0; i < std::min(texts.size(), most_expectations); ++i)
        list.append(i == 0 ? "" : ", ").append(printable(texts[i]));
    if (texts.size() > most_expectations)
        list += " and " + std::to_string(texts.size() - most_expectations) + " more";
    return list;
}

std::string expectations(const tree_view &tree, node_index parent)
{
    std::vector<std::string> texts;
    for (size_t i = 0; i < tree.child_count(parent); ++i) {
        const node_index child = tree.child(parent, i);
        if (tree.is_argument(child))
            texts.push_back(describe_argument(tree, child));
        else if (!keyword_of(tree, child).empty())
            texts.emplace_back(keyword_of(tree, child));
    }
    return texts.empty() ? "nothing" : joined(std::move(texts));
}

// One step: the word here against the children of a node.
class step {
public:
    step(const tree_view &tree, node_index parent, const word_reader &line)
        : tree_(tree), parent_(parent), start_(line.position()), lexical_error_(line.peek(word_))
    {
    }

    // The child that the word is, taken from `line`; or why it is none.
    std::variant<matched_word, line_error> match(word_reader &line)
    {
        if (has_bare_word())
            find_keyword();
        if (keyword_)
            return take_keyword(line);
        if (candidates_.size() > 1)
            return line_error{start_, "ambiguous word " + shown_word(word_.text) +
                                          "; candidates: " + joined(candidates_)};
        for (size_t i = 0; i < tree_.child_count(parent_); ++i) {
            const node_index child = tree_.child(parent_, i);
            if (auto argument = match_argument(child, line))
                return std::move(*argument);
        }
        return failed();
    }

private:
    bool has_bare_word() const { return !lexical_error_ && !word_.quoted; }

    template <class Visit>
    void each_keyword(Visit visit) const
    {
        for (size_t i = 0; i < tree_.child_count(parent_); ++i) {
            const node_index child = tree_.child(parent_, i);
            if (const std::string_view keyword = keyword_of(tree_, child); !keyword.empty())
                visit(child, keyword);
        }
    }

    // The same word may be there twice, through a link; the first counts.
    void find_keyword()
    {
        bool exact = false;
        each_keyword([&](node_index child, std::string_view keyword) {
            if (exact || !keyword.starts_with(word_.text))
                return;
            exact = keyword == word_.text;
            if (exact || !keyword_)
                keyword_ = child;
            if (std::find(candidates_.begin(), candidates_.end(), keyword) == candidates_.end())
                candidates_.emplace_back(keyword);
        });
        if (!exact && candidates_.size() > 1)
            keyword_.reset();
    }

    matched_word take_keyword(word_reader &line) const
    {
        line.skip_word();
        const std::string token(keyword_of(tree_, *keyword_));
        return {*keyword_, true, token, token};
    }

    std::optional<matched_word> match_argument(node_index child, word_reader &line)
    {
        for (const kiv_parameter &parameter : tree_.parameters(child)) {
            if (takes_rest_of_line(parameter)) {
                const std::string rest(line.take_rest());
                return matched_word{child, false, rest, rest};
            }
            const fit found =
                lexical_error_ ? fit::wrong_form : check_argument(parameter, word_.text);
            if (found == fit::fits) {
                line.skip_word();
                std::string value = canonical_argument(parameter, word_.text);
                std::string text = argument_text(value);
                return matched_word{child, false, std::move(value), std::move(text)};
            }
            if (found == fit::out_of_bounds)
                out_of_bounds_.push_back(describe_parameter(parameter));
        }
        return {};
    }

    // Quoted where it could be taken for something else.
    std::string argument_text(const std::string &value) const
    {
        bool begins_keyword = false;
        each_keyword([&](node_index, std::string_view keyword) {
            begins_keyword = begins_keyword || keyword.starts_with(value);
        });
        return begins_keyword || !is_plain_word(value) ? quoted_word(value) : value;
    }

    line_error failed() const
    {
        if (lexical_error_)
            return *lexical_error_;
        if (!out_of_bounds_.empty())
            return {start_, "value " + shown_word(word_.text) +
                                " is out of bounds; expected: " + joined(out_of_bounds_)};
        return {start_, "unknown word " + shown_word(word_.text) +
                            "; expected: " + expectations(tree_, parent_)};
    }

    const tree_view &tree_;
    node_index parent_;
    size_t start_;
    word word_;
    std::optional<line_error> lexical_error_;
    std::optional<node_index> keyword_;
    std::vector<std::string> candidates_;
    std::vector<std::string> out_of_bounds_;
};

// Whether no word can follow the node's.
bool is_last(const tree_view &tree, node_index node)
{
    return tree.ends_command(node) && (tree.child_count(node) == 0 || tree.enters_mode(node));
}

std::optional<line_error> match_words(const tree_view &tree, word_reader &line, command &into)
{
    while (!line.at_end() && !line.at_redirection()) {
        if (!into.words.empty() && is_last(tree, into.node))
            return line_error{line.position(), "too many words; the command ends before this one"};
        auto matched = step(tree, into.node, line).match(line);
        if (auto *error = std::get_if<line_error>(&matched))
            return std::move(*error);
        into.words.push_back(std::get<matched_word>(std::move(matched)));
        into.node = into.words.back().node;
    }
    if (into.words.empty() || !tree.ends_command(into.node))
        return line_error{line.position(),
                          "incomplete command; expected: " + expectations(tree, into.node)};
    return {};
}

std::optional<line_error> match_redirection(word_reader &line, command &into)
{
    if (!line.at_redirection())
        return {};
    line.skip_redirection();
    if (line.at_end() || line.at_redirection())
        return line_error{line.position(), "incomplete command; expected: the name of a file"};
    word file;
    if (auto error = line.peek(file))
        return error;
    if (file.text.empty())
        return line_error{line.position(), "the name of a file is empty"};
    line.skip_word();
    if (!line.at_end())
        return line_error{line.position(), "too many words; the command ends with its file"};
    into.output_file = std::move(file.text);
    return {};
}

} // namespace

std::string canonical_line(const command &parsed)
{
    std::string line;
    for (const matched_word &word : parsed.words)
        line.append(line.empty() ? "" : " ").append(word.canonical);
    return line;
}

parse_result parse_command(const tree_view &tree, node_index mode, std::string_view line)
{
    word_reader reader(line);
    if (auto error = reader.check())
        return std::move(*error);
    command parsed;
    parsed.node = mode;
    if (auto error = match_words(tree, reader, parsed))
        return std::move(*error);
    if (auto error = match_redirection(reader, parsed))
        return std::move(*error);
    return parsed;
}

} // namespace kiv_shell
