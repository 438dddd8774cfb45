#include "configuration.h"

#include <algorithm>

namespace kiv_shell {

namespace {

constexpr size_t indentation = 2;

// Of no character that a line can hold, so that no text looks like one of these.
constexpr char argument_mark = '\x01';
constexpr char command_id_mark = '\x02';
constexpr char unknown_mark = '\x03';

std::string keywords_of(const command &parsed)
{
    std::string keywords;
    for (const matched_word &word : parsed.words)
        (keywords += word.is_keyword ? word.value : std::string(1, argument_mark)) += ' ';
    return keywords;
}

std::string identity_of(const tree_view &tree, const command &parsed, const std::string &text)
{
    if (tree.enters_mode(parsed.node) || tree.function(parsed.node) == add_function)
        return text;
    const auto id = static_cast<int32_t>(kiv_be32_get(tree.node(parsed.node).command_id));
    return id > 0 ? command_id_mark + std::to_string(id) : keywords_of(parsed);
}

bool begins_with(const std::vector<std::string> &words, const std::vector<std::string> &first)
{
    return words.size() >= first.size() && std::equal(first.begin(), first.end(), words.begin());
}

size_t depth_of(std::string_view line)
{
    return std::min(line.find_first_not_of(' '), line.size()) / indentation;
}

// The last line of the text, and before it the lines that it stands below.
std::vector<std::string_view> last_lines(std::string_view text)
{
    std::vector<std::string_view> lines;
    for (size_t depth = most_modes; depth > 0 && !text.empty();) {
        text.remove_suffix(text.back() == '\n' ? 1 : 0);
        const std::string_view line = text.substr(text.rfind('\n') + 1);
        text.remove_suffix(line.size());
        if (is_blank_or_comment(line) || depth_of(line) >= depth)
            continue;
        depth = depth_of(line);
        lines.insert(lines.begin(), line);
    }
    return lines;
}

// The first line of the text that is none of comment.
std::string_view first_line(std::string_view text)
{
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        if (!is_blank_or_comment(line))
            return line;
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    return {};
}

// Follows lines as a configuration file is read: a line belongs to the innermost mode that knows
// it, and leaves those within.
class mode_follower {
public:
    mode_follower(const tree_view &tree, node_index mode) : tree_(tree), modes_{mode} {}

    // The lines that have to stand before this one, so that it is read at the depth given.
    std::string lines_before(const std::string &line, size_t depth)
    {
        std::string lines;
        while (modes_.size() > depth + 1 && modes_.back() && is_known_within(line, depth)) {
            const std::string exit = exit_line(*modes_.back());
            if (exit.empty())
                break;
            lines.append(indentation * (modes_.size() - 1), ' ').append(exit) += '\n';
            modes_.pop_back();
        }
        modes_.resize(depth + 1);
        return lines;
    }

    void enter(std::optional<node_index> mode)
    {
        if (mode)
            modes_.push_back(mode);
    }

    // Goes through the last lines of a text, to the modes that they leave open.
    void pass(std::string_view text)
    {
        modes_.resize(1);
        for (const std::string_view line : last_lines(text)) {
            const std::optional<node_index> mode = modes_.back();
            if (!mode)
                return;
            const parse_result parsed = parse_command(tree_, *mode, line);
            const auto *known = std::get_if<command>(&parsed);
            if (known == nullptr || !tree_.enters_mode(known->node))
                return;
            modes_.emplace_back(known->node);
        }
    }

private:
    bool is_known_within(const std::string &line, size_t depth) const
    {
        return std::any_of(modes_.begin() + static_cast<std::ptrdiff_t>(depth) + 1, modes_.end(),
                           [&](std::optional<node_index> mode) {
                               return mode && std::holds_alternative<command>(
                                                  parse_command(tree_, *mode, line));
                           });
    }

    std::string exit_line(node_index mode) const
    {
        for (size_t i = 0; i < tree_.child_count(mode); ++i) {
            const node_index child = tree_.child(mode, i);
            if (!tree_.is_argument(child) && tree_.function(child) == "exit" &&
                is_plain_word(tree_.token(child)) && tree_.ends_command(child))
                return std::string(tree_.token(child));
        }
        return {};
    }

    const tree_view &tree_;
    std::vector<std::optional<node_index>> modes_;
};

} // namespace

setting setting_of(const tree_view &tree, const command &parsed)
{
    setting made;
    made.text = canonical_line(parsed);
    for (const matched_word &word : parsed.words)
        made.words.push_back(word.value);
    made.identity = identity_of(tree, parsed, made.text);
    made.priority = tree.node(parsed.node).asciigen_priority;
    if (tree.enters_mode(parsed.node))
        made.mode = parsed.node;
    made.is_of_module = kiv_be16_get(tree.node(parsed.node).cmi_msg_type) != 0;
    return made;
}

configuration::entry &configuration::store(block &in, setting value)
{
    const auto known = in.places.find(value.identity);
    entry taken;
    place where{value.priority, in.next};
    if (known != in.places.end()) {
        entry &old = in.entries.find(known->second)->second;
        if (old.value.priority == value.priority)
            where = known->second;
        taken.below = std::move(old.below);
        in.entries.erase(known->second);
    }
    in.next = std::max(in.next, where.second + 1);
    in.places[value.identity] = where;
    taken.value = std::move(value);
    return in.entries.emplace(where, std::move(taken)).first->second;
}

configuration::block &configuration::below(entry &owner)
{
    if (!owner.below)
        owner.below = std::make_unique<block>();
    return *owner.below;
}

void configuration::put(const std::vector<setting> &path, setting value)
{
    block *in = &top_;
    size_t depth = 0;
    for (const setting &outer : path) {
        const auto known = in->places.find(outer.identity);
        in = &below(known != in->places.end() ? in->entries.find(known->second)->second
                                              : store(*in, outer));
        added_.append(indentation * depth++, ' ').append(outer.text) += '\n';
    }
    added_.append(indentation * depth, ' ').append(value.text) += '\n';
    store(*in, std::move(value));
}

void configuration::remove(const std::vector<setting> &path, const std::vector<std::string> &words)
{
    block *in = &top_;
    for (const setting &outer : path) {
        const auto known = in->places.find(outer.identity);
        if (known == in->places.end())
            return;
        in = &below(in->entries.find(known->second)->second);
    }
    for (auto at = in->entries.begin(); at != in->entries.end();) {
        if (begins_with(at->second.value.words, words)) {
            in->places.erase(at->second.value.identity);
            at = in->entries.erase(at);
            removed_ = true;
        } else {
            ++at;
        }
    }
}

setting configuration::read_line(std::optional<node_index> mode, const block &in,
                                 std::string_view line) const
{
    if (mode) {
        const parse_result parsed = parse_command(tree_, *mode, line);
        const auto *known = std::get_if<command>(&parsed);
        if (known != nullptr && !known->output_file)
            return setting_of(tree_, *known);
    }
    setting unknown;
    unknown.text = line;
    unknown.identity = unknown_mark + unknown.text;
    // Behind what came last, also where that stands further down by its priority.
    unknown.priority = in.entries.empty() ? uint16_t{0} : in.entries.rbegin()->first.first;
    return unknown;
}

failure configuration::load(std::string_view text)
{
    std::vector<entry *> owners;
    for (size_t number = 1; !text.empty(); ++number) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (is_blank_or_comment(line))
            continue;
        const size_t blanks = line.find_first_not_of(' ');
        line.remove_prefix(blanks);
        if (const auto error = word_reader(line).check())
            return "line " + std::to_string(number) + ": " + error->text;
        const size_t depth = blanks / indentation;
        if (blanks % indentation != 0 || depth > owners.size() || depth >= most_modes)
            return "line " + std::to_string(number) + ": wrong indentation";
        owners.resize(depth);
        entry *owner = depth == 0 ? nullptr : owners.back();
        block &in = owner == nullptr ? top_ : below(*owner);
        owners.push_back(
            &store(in, read_line(owner == nullptr ? mode_ : owner->value.mode, in, line)));
    }
    return {};
}

template <class Visit>
void configuration::visit(const entry &known, size_t depth, Visit &each)
{
    each(depth, known.value);
    if (!known.below)
        return;
    for (const auto &[where, lower] : known.below->entries)
        visit(lower, depth + 1, each);
}

std::string configuration::text() const
{
    std::string text;
    auto add_line = [&](size_t depth, const setting &value) {
        text.append(indentation * depth, ' ').append(value.text) += '\n';
    };
    for (const auto &[where, known] : top_.entries)
        visit(known, 0, add_line);
    return text;
}

void configuration::write_to_apply(std::span<const foreign_text> texts, std::string &text) const
{
    mode_follower follower(tree_, mode_);
    auto add_line = [&](size_t depth, const setting &value) {
        text += follower.lines_before(value.text, depth);
        text.append(indentation * depth, ' ').append(value.text) += '\n';
        follower.enter(value.mode);
    };
    const auto add_foreign = [&](const foreign_text &foreign) {
        const size_t start = text.size();
        foreign.append(text);
        const auto added = [&] { return std::string_view(text).substr(start); };
        text.insert(start, follower.lines_before(std::string(first_line(added())), 0));
        follower.pass(added());
    };
    for (const auto &[where, known] : top_.entries) {
        for (; !texts.empty() && texts.front().priority < where.first; texts = texts.subspan(1))
            add_foreign(texts.front());
        if (!known.value.is_of_module)
            visit(known, 0, add_line);
    }
    for (const foreign_text &foreign : texts)
        add_foreign(foreign);
}

} // namespace kiv_shell
