#include "grammar/compile.h"

#include <utility>

#include "grammar/draft.h"
#include "grammar/fields.h"
#include "grammar/lines.h"
#include "grammar/refusal.h"
#include "grammar/statements.h"
#include "grammar/words.h"

namespace kiv::grammar {

namespace {

// The root is one level of the tree; what is not indented stands one below it.
constexpr size_t deepest_level = KIV_TREE_MAX_DEPTH - 2;

class compiler {
public:
    result run(std::string_view text);

private:
    // A line that has been read: what may stand below it, and of which node.
    struct open_line {
        place below = nowhere;
        uint32_t node = root_node;
        std::string_view word;
    };

    void read_line(const source_line &line);
    void find_owner(const source_line &line);
    void open(place below, uint32_t node, const statement &what);
    void add(const statement &what, word_list &words, const source_line &line);
    void add_node(const statement &what, place below, word_list &words, const source_line &line);
    void add_link(const statement &what, word_list &words, const source_line &line);
    void add_property(const statement &what, word_list &words, size_t line);
    void open_root(const statement &what, word_list &words, size_t line);
    void set_default_module(const statement &what, word_list &words);
    void set_default_message_type(const statement &what, word_list &words);
    void check_depth(const source_line &line);
    void doubt_open_nodes();
    bool is_hopeless() const { return tree_.overfull() || errors_.some_hidden(); }

    static constexpr size_t no_skip = SIZE_MAX;

    // By level; the first is the text itself, the last owns the line in hand.
    std::vector<open_line> open_{{top_level, root_node, {}}};
    // Lines with at least this indentation belong to one that was not understood.
    size_t skipped_from_ = no_skip;
    std::string default_module_;
    uint16_t default_message_type_ = 0;
    bool root_opened_ = false;
    draft tree_;
    diagnostics errors_;
};

result compiler::run(std::string_view text)
{
    line_reader lines(text);
    for (source_line line{}; !is_hopeless() && lines.next(line);) {
        if (line.indentation >= skipped_from_) {
            tree_.doubt_names();
            continue;
        }
        skipped_from_ = line.indentation + 1;
        try {
            read_line(line);
        } catch (const refusal &refused) {
            errors_.add(line.number, refused.text);
            doubt_open_nodes();
        }
    }
    if (is_hopeless())
        tree_.doubt_names();
    return tree_.finish(std::move(errors_));
}

void compiler::read_line(const source_line &line)
{
    find_owner(line);
    word_list words(line.body);
    const statement &what = find_statement(words.take("a statement").text, open_.back().below);
    add(what, words, line);
}

void compiler::find_owner(const source_line &line)
{
    const size_t level = level_of(line);
    if (level >= open_.size()) {
        skipped_from_ = line.indentation;
        refuse("expected at most " + std::to_string(spaces_per_level * (open_.size() - 1)) +
               " spaces of indentation, found " + std::to_string(line.indentation));
    }
    open_.resize(level + 1);
    if (open_.back().below == nowhere) {
        skipped_from_ = line.indentation;
        refuse_found("nothing below " + quoted(open_.back().word), line.body);
    }
}

// Whatever is wrong with the rest of the line, what stands below it can be read.
void compiler::open(place below, uint32_t node, const statement &what)
{
    open_.push_back({below, node, what.word});
    skipped_from_ = no_skip;
}

void compiler::add(const statement &what, word_list &words, const source_line &line)
{
    switch (what.what) {
    case effect::keyword:
        return add_node(what, below_keyword, words, line);
    case effect::argument:
        return add_node(what, below_argument, words, line);
    case effect::link:
        return add_link(what, words, line);
    case effect::root:
        return open_root(what, words, line.number);
    case effect::default_module:
        return set_default_module(what, words);
    case effect::default_message_type:
        return set_default_message_type(what, words);
    case effect::property:
        return add_property(what, words, line.number);
    }
}

void compiler::add_node(const statement &what, place below, word_list &words,
                        const source_line &line)
{
    check_depth(line);
    const uint32_t node = tree_.add_node(open_.back().node, line.number);
    open(below, node, what);
    tree_.set_default_message_type(node, default_message_type_);
    kiv_array_tree_node &record = tree_.record(node);
    store_text(record.module_id, default_module_, "ID");
    apply(what, words, record);
}

void compiler::add_link(const statement &what, word_list &words, const source_line &line)
{
    check_depth(line);
    const uint32_t owner = open_.back().node;
    open(nowhere, owner, what);
    kiv_array_tree_node operands{};
    apply(what, words, operands);
    tree_.add_link(owner, line.number, operands.node_name);
}

void compiler::add_property(const statement &what, word_list &words, size_t line)
{
    const uint32_t node = open_.back().node;
    open(nowhere, node, what);
    tree_.add_property(node, what, line);
    apply(what, words, tree_.record(node));
}

void compiler::open_root(const statement &what, word_list &words, size_t line)
{
    open(below_root, root_node, what);
    apply(what, words, tree_.record(root_node));
    if (tree_.size() > 1)
        refuse("expected \"root\" before any node, found it below one");
    if (root_opened_)
        refuse("expected \"root\" once, found it again");
    root_opened_ = true;
    tree_.set_root_line(line);
    tree_.set_default_message_type(root_node, default_message_type_);
    store_text(tree_.record(root_node).module_id, default_module_, "ID");
}

void compiler::set_default_module(const statement &what, word_list &words)
{
    open(nowhere, root_node, what);
    kiv_array_tree_node operands{};
    apply(what, words, operands);
    default_module_ = operands.module_id;
}

void compiler::set_default_message_type(const statement &what, word_list &words)
{
    open(nowhere, root_node, what);
    kiv_array_tree_node operands{};
    apply(what, words, operands);
    default_message_type_ = operands.cmi_msg_type;
}

// A link too: whoever follows it stands one level deeper.
void compiler::check_depth(const source_line &line)
{
    if (open_.size() - 1 <= deepest_level)
        return;
    skipped_from_ = line.indentation;
    refuse("expected at most " + std::to_string(KIV_TREE_MAX_DEPTH) +
           " levels with the root, found one more");
}

void compiler::doubt_open_nodes()
{
    for (const open_line &line : open_)
        tree_.doubt(line.node);
}

} // namespace

result compile(std::string_view text)
{
    return compiler().run(text);
}

} // namespace kiv::grammar
