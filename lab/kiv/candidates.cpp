#include "candidates.h"

#include <algorithm>

#include "argument_types.h"
#include "failure.h"
#include "parser.h"

namespace kiv_shell {

namespace {

constexpr size_t widest_column = 32;

using kind = candidate::kind;

const candidate redirection{kind::sign, ">", "Write what the command prints into a file"};
const candidate file_name{kind::argument, "<file>", "Name of the file"};
const candidate end_of_line{kind::sign, "<cr>", "The command is complete"};

struct typed_line {
    std::string_view finished; // what does not change, whatever is typed at the end
    std::string_view rest;     // the word that is being typed
    bool is_quote_open = false;
};

typed_line take_apart(std::string_view line)
{
    word_reader words(line);
    size_t start = line.size();
    std::optional<line_error> fault;
    while (!words.at_end()) {
        word last;
        start = words.position();
        fault = words.peek(last);
        if (words.at_redirection()) {
            ++start;
            words.skip_redirection();
        } else {
            words.skip_word();
        }
    }
    const bool is_quote_open = fault.has_value();
    if (!is_quote_open && (line.ends_with(' ') || line.ends_with('\t')))
        start = line.size();
    return {line.substr(0, start), line.substr(start), is_quote_open};
}

bool is_comment(std::string_view line)
{
    return is_blank_or_comment(line) && line.find('!') != std::string_view::npos;
}

class finder {
public:
    finder(const tree_view &tree, node_index mode, std::string_view line)
        : tree_(tree), mode_(mode), line_(line), typed_(take_apart(line))
    {
    }

    candidates find()
    {
        if (is_comment(line_))
            return text();
        word_reader words(typed_.finished);
        found_.error = match(words);
        if (found_.error)
            return std::move(found_);
        if (is_within_text())
            return text();
        if (words.at_redirection())
            add_behind_redirection(words);
        else
            add_next();
        if (found_.list.empty() && !found_.error)
            found_.error = fault();
        return std::move(found_);
    }

private:
    candidates text()
    {
        found_.is_text = true;
        return std::move(found_);
    }

    std::optional<line_error> match(word_reader &words)
    {
        if (auto error = words.check())
            return error;
        is_outside_ = skip_do(tree_, mode_, words);
        so_far_ = {is_outside_ ? root_node : mode_, {}, {}};
        return match_words(tree_, words, so_far_);
    }

    // What the shell would say of the line as it is.
    std::optional<line_error> fault()
    {
        word_reader words(line_);
        auto error = match(words);
        return error ? error : match_redirection(words, so_far_);
    }

    bool is_within_text()
    {
        const bool is_line = !so_far_.words.empty() && so_far_.words.back().is_rest_of_line;
        if (is_line || typed_.is_quote_open)
            return true;
        if (!has_typed())
            return false;
        word_reader(typed_.rest).peek(found_.typed);
        return begins_line();
    }

    // A word that can only be the first of a line argument.
    bool begins_line() const
    {
        if (!keywords_with(tree_, so_far_.node, found_.typed.text).empty())
            return false;
        for (size_t i = 0; i < tree_.child_count(so_far_.node); ++i) {
            const auto parameters = tree_.parameters(tree_.child(so_far_.node, i));
            if (std::any_of(parameters.begin(), parameters.end(), takes_rest_of_line))
                return true;
        }
        return false;
    }

    bool has_typed() const { return !typed_.rest.empty(); }
    bool can_end() const { return !so_far_.words.empty() && tree_.ends_command(so_far_.node); }

    void add_next()
    {
        if (so_far_.words.empty() || !is_last(tree_, so_far_.node)) {
            add_keywords();
            add_arguments();
        }
        if (can_end() && !has_typed())
            found_.list.insert(found_.list.end(), {redirection, end_of_line});
    }

    void add_keywords()
    {
        if (found_.typed.quoted)
            return;
        std::vector<candidate> &list = found_.list;
        for (const keyword &row : keywords_with(tree_, so_far_.node, found_.typed.text))
            list.push_back({kind::keyword, std::string(row.token),
                            std::string(field_text(tree_.node(row.node).help))});
        if (so_far_.words.empty() && mode_ != root_node && !is_outside_)
            add_do();
        std::sort(list.begin(), list.end(),
                  [](const candidate &a, const candidate &b) { return a.shown < b.shown; });
    }

    void add_do()
    {
        std::vector<candidate> &list = found_.list;
        const bool is_keyword = std::any_of(
            list.begin(), list.end(), [](const candidate &row) { return row.shown == do_word; });
        if (!is_keyword && do_word.starts_with(found_.typed.text))
            list.push_back(
                {kind::keyword, std::string(do_word), "Run a command of the outermost mode"});
    }

    void add_arguments()
    {
        const bool has_keywords = !found_.list.empty();
        for (size_t i = 0; i < tree_.child_count(so_far_.node); ++i) {
            for (const kiv_parameter &parameter : tree_.parameters(tree_.child(so_far_.node, i))) {
                if (is_possible(parameter, has_keywords))
                    found_.list.push_back({kind::argument, describe_parameter(parameter),
                                           std::string(field_text(parameter.help))});
            }
        }
    }

    // A word that does not fit yet may be the start of one that does.
    bool is_possible(const kiv_parameter &parameter, bool has_keywords) const
    {
        if (!has_typed())
            return true;
        const fit found = check_argument(parameter, found_.typed.text);
        return found == fit::fits || (found == fit::wrong_form && !has_keywords);
    }

    void add_behind_redirection(word_reader words)
    {
        if (!can_end()) {
            found_.error = line_error{words.position(), "the command is not complete"};
            return;
        }
        words.skip_redirection();
        if (words.at_end())
            found_.list.push_back(file_name);
        else if (!has_typed())
            found_.list.push_back(end_of_line);
    }

    const tree_view &tree_;
    node_index mode_;
    std::string_view line_;
    typed_line typed_;
    command so_far_;
    bool is_outside_ = false; // behind "do"
    candidates found_;
};

size_t width_of(std::string_view text)
{
    size_t width = 0;
    for (size_t at = 0; at < text.size(); at += character_length(text, at))
        ++width;
    return width;
}

} // namespace

candidates find_candidates(const tree_view &tree, node_index mode, std::string_view line)
{
    return finder(tree, mode, line).find();
}

std::string completion(const candidates &found)
{
    const auto behind =
        std::find_if(found.list.begin(), found.list.end(),
                     [](const candidate &row) { return row.what != kind::keyword; });
    const bool has_argument = behind != found.list.end() && behind->what == kind::argument;
    const size_t typed = found.typed.text.size();
    if (behind == found.list.begin() || (has_argument && typed == 0))
        return {};
    const std::string &first = found.list.front().shown;
    const std::string &last = (behind - 1)->shown;
    if (first == last)
        return first.substr(typed) + " ";
    // They are in order: what the first and the last have in common, all have.
    const auto end = std::mismatch(first.begin(), first.end(), last.begin(), last.end()).first;
    const auto common = static_cast<size_t>(end - first.begin());
    return first.substr(typed, character_start(first + ' ', common) - typed);
}

std::string help_text(const candidates &found)
{
    size_t column = 0;
    for (const candidate &row : found.list) {
        const size_t width = width_of(row.shown);
        column = width > widest_column ? column : std::max(column, width);
    }
    std::string text;
    for (const candidate &row : found.list) {
        text.append("  ").append(printable(row.shown));
        if (!row.help.empty()) {
            text.append(column - std::min(width_of(row.shown), column), ' ');
            text.append("  ").append(printable(row.help));
        }
        text.append("\n");
    }
    return text;
}

} // namespace kiv_shell
