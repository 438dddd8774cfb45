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

// Empty where the node is no keyword.
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
        if (!lexical_error_ && !word_.quoted) {
            const std::vector<keyword> candidates = keywords_with(tree_, parent_, word_.text);
            if (const keyword *meant = find_meant(candidates))
                return take_keyword(*meant, line);
            if (!candidates.empty())
                return ambiguous(candidates);
        }
        for (size_t i = 0; i < tree_.child_count(parent_); ++i) {
            const node_index child = tree_.child(parent_, i);
            if (auto argument = match_argument(child, line))
                return std::move(*argument);
        }
        return failed();
    }

private:
    // The word itself, or the only one that it begins.
    const keyword *find_meant(const std::vector<keyword> &candidates) const
    {
        const auto exact =
            std::find_if(candidates.begin(), candidates.end(),
                         [&](const keyword &row) { return row.token == word_.text; });
        if (exact != candidates.end())
            return &*exact;
        return candidates.size() == 1 ? &candidates.front() : nullptr;
    }

    line_error ambiguous(const std::vector<keyword> &candidates) const
    {
        std::vector<std::string> tokens;
        tokens.reserve(candidates.size());
        for (const keyword &row : candidates)
            tokens.emplace_back(row.token);
        return {start_, "ambiguous word " + shown_word(word_.text) +
                            "; candidates: " + joined(std::move(tokens))};
    }

    static matched_word take_keyword(const keyword &meant, word_reader &line)
    {
        line.skip_word();
        const std::string token(meant.token);
        return {meant.node, true, token, token};
    }

    std::optional<matched_word> match_argument(node_index child, word_reader &line)
    {
        for (const kiv_parameter &parameter : tree_.parameters(child)) {
            if (takes_rest_of_line(parameter)) {
                const std::string rest(line.take_rest());
                return matched_word{child, false, rest, rest, true};
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
        const bool begins_keyword = !keywords_with(tree_, parent_, value).empty();
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
    std::vector<std::string> out_of_bounds_;
};

} // namespace

std::vector<keyword> keywords_with(const tree_view &tree, node_index parent, std::string_view text)
{
    std::vector<keyword> found;
    for (size_t i = 0; i < tree.child_count(parent); ++i) {
        const node_index child = tree.child(parent, i);
        if (!tree.token(child).starts_with(text))
            continue;
        const std::string_view token = keyword_of(tree, child);
        if (!token.empty() && std::none_of(found.begin(), found.end(),
                                           [&](const keyword &row) { return row.token == token; }))
            found.push_back({child, token});
    }
    return found;
}

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

bool skip_do(const tree_view &tree, node_index mode, word_reader &line)
{
    word first;
    if (mode == root_node || line.at_end() || line.peek(first) || first.quoted ||
        first.text != do_word)
        return false;
    for (const keyword &row : keywords_with(tree, mode, do_word)) {
        if (row.token == do_word)
            return false;
    }
    line.skip_word();
    return true;
}

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
    if (parsed.words.empty() || !tree.ends_command(parsed.node))
        return line_error{reader.position(),
                          "incomplete command; expected: " + expectations(tree, parsed.node)};
    if (auto error = match_redirection(reader, parsed))
        return std::move(*error);
    return parsed;
}

} // namespace kiv_shell
