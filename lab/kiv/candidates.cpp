#include "candidates.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include <strings.h>

#include "argument_types.h"
#include "failure.h"
#include "handlers.h"
#include "parser.h"

namespace kiv_shell {

namespace {

constexpr size_t widest_column = 32;

bool changes_mode(const tree_view &tree, node_index node)
{
    const handler *found = find_handler(tree, node);
    return tree.enters_mode(node) || (found != nullptr && found->after != mode_change::none);
}

using kind = candidate::kind;

const candidate redirection{kind::sign, ">", "Write what the command prints into a file"};
const candidate file_name{kind::argument, "<file>", "Name of the file"};
const candidate end_of_line{kind::sign, "<cr>", "The command is complete"};

// Types of numbers, and of their ranges and lists: what has been typed of one tells what it can
// still become.
struct number_type {
    kiv_parameter_type type;
    int base;
};

constexpr number_type number_types[] = {
    {TYPE_INT, 10},  {TYPE_INT_RANGE, 10},  {TYPE_INT_MULTI_RANGE, 10},
    {TYPE_VSAN, 10}, {TYPE_VSAN_RANGE, 10}, {TYPE_VSAN_MULTI_RANGE, 10},
    {TYPE_HEX, 16},  {TYPE_HEX_RANGE, 16},  {TYPE_HEX_MULTI_RANGE, 16},
};

const number_type *find_number_type(const kiv_parameter &parameter)
{
    const auto found =
        std::find_if(std::begin(number_types), std::end(number_types), [&](const number_type &row) {
            return static_cast<uint32_t>(row.type) == parameter.type;
        });
    return found == std::end(number_types) ? nullptr : found;
}

std::string digits_of(uint32_t bound, int base)
{
    char text[16];
    const int64_t value = base == 10 ? static_cast<int32_t>(bound) : int64_t{bound};
    return {text, std::to_chars(std::begin(text), std::end(text), value, base).ptr};
}

// What to try behind the digits at the end of a word. The numbers that begin with them are, for
// each count of digits, all from the one with zeros to the one with the highest digits. Where
// neither of those fits but one in between does, they hold both bounds, and a bound does.
std::vector<std::string> continuations(const kiv_parameter &parameter, int base,
                                       std::string_view digits)
{
    constexpr size_t most_digits = 10;
    std::vector<std::string> all{""};
    for (size_t count = 1; count <= most_digits; ++count) {
        all.emplace_back(count, '0');
        all.emplace_back(count, base == 10 ? '9' : 'f');
    }
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    for (const uint32_t field : {uint32_t{parameter.minimum}, uint32_t{parameter.maximum}}) {
        const std::string bound = digits_of(field, base);
        for (const size_t sign : {size_t{0}, size_t{bound.starts_with('-') ? 1U : 0U}}) {
            const std::string tail = bound.substr(sign);
            if (tail.size() >= digits.size() &&
                strncasecmp(tail.data(), digits.data(), digits.size()) == 0)
                all.push_back(tail.substr(digits.size()));
        }
    }
    return all;
}

bool may_become_number(const kiv_parameter &parameter, int base, const std::string &text)
{
    constexpr std::string_view all_digits = "0123456789abcdefABCDEF";
    const auto digits = all_digits.substr(0, base == 10 ? 10 : all_digits.size());
    const size_t start = text.find_last_not_of(digits) + 1;
    const auto rest = continuations(parameter, base, std::string_view(text).substr(start));
    return std::any_of(rest.begin(), rest.end(), [&](const std::string &tail) {
        return check_argument(parameter, text + tail) == fit::fits;
    });
}

// A node that cannot be run with "do", and leads to none that can. Links may lead round in circles.
bool is_refused_outside(const tree_view &tree, node_index node, int depth = 4)
{
    if (is_last(tree, node))
        return changes_mode(tree, node);
    if (tree.ends_command(node) || depth == 0)
        return false;
    for (size_t i = 0; i < tree.child_count(node); ++i) {
        if (!is_refused_outside(tree, tree.child(node, i), depth - 1))
            return false;
    }
    return tree.child_count(node) != 0;
}

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
        command_start_ = words.position();
        so_far_ = {is_outside_ ? root_node : mode_, {}, {}};
        return match_words(tree_, words, so_far_);
    }

    // What the shell would say of the line as it is.
    std::optional<line_error> fault()
    {
        word_reader words(line_);
        if (auto error = match(words))
            return error;
        return is_refused() ? refusal() : match_redirection(words, so_far_);
    }

    line_error refusal() const { return {command_start_, refused_behind_do}; }

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
    bool can_end() const
    {
        return !so_far_.words.empty() && tree_.ends_command(so_far_.node) &&
               !(is_outside_ && changes_mode(tree_, so_far_.node));
    }

    bool is_refused() const
    {
        return is_outside_ && !so_far_.words.empty() && is_refused_outside(tree_, so_far_.node);
    }

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
        for (const keyword &row : keywords_with(tree_, so_far_.node, found_.typed.text)) {
            if (is_outside_ && is_refused_outside(tree_, row.node))
                continue;
            list.push_back({kind::keyword, std::string(row.token),
                            std::string(field_text(tree_.node(row.node).help))});
        }
        if (so_far_.words.empty() && mode_ != root_node && !is_outside_)
            add_do();
        std::sort(list.begin(), list.end(),
                  [](const candidate &a, const candidate &b) { return a.shown < b.shown; });
    }

    // Only in full: the shell takes no part of it for the word.
    void add_do()
    {
        std::vector<candidate> &list = found_.list;
        const bool is_keyword = std::any_of(
            list.begin(), list.end(), [](const candidate &row) { return row.shown == do_word; });
        if (!is_keyword && (!has_typed() || found_.typed.text == do_word))
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
        if (const number_type *number = find_number_type(parameter))
            return may_become_number(parameter, number->base, found_.typed.text);
        const fit found = check_argument(parameter, found_.typed.text);
        return found == fit::fits || (found == fit::wrong_form && !has_keywords);
    }

    void add_behind_redirection(word_reader words)
    {
        if (!can_end()) {
            found_.error = is_refused()
                               ? refusal()
                               : line_error{words.position(), "the command is not complete"};
            return;
        }
        word_reader behind = words;
        behind.skip_redirection();
        if (behind.at_end()) {
            found_.list.push_back(file_name);
            return;
        }
        found_.error = match_redirection(words, so_far_);
        if (!found_.error && !has_typed())
            found_.list.push_back(end_of_line);
    }

    const tree_view &tree_;
    node_index mode_;
    std::string_view line_;
    typed_line typed_;
    command so_far_;
    bool is_outside_ = false; // behind "do"
    size_t command_start_ = 0;
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
