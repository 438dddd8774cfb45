// The rule of kiv_diff (kiv/kiv_exec_lib.h), step by step: trees of lines, and a search through
// the siblings for each of them. Slow, and short enough to be seen right.
#ifndef KIV_TESTS_DIFF_RULE_H
#define KIV_TESTS_DIFF_RULE_H

#include <algorithm>
#include <cstring>
#include <list>
#include <string>

namespace diff_rule {

struct node {
    std::string text;
    std::list<node> children;
    bool matched = false;
};

using tree = std::list<node>;

inline bool is_blank(const std::string &line)
{
    return line.find_first_not_of(" \t\n\v\f\r") == std::string::npos;
}

inline int level_of(const std::string &line)
{
    return static_cast<int>(std::min<size_t>(line.find_first_not_of(' ') / 2 + 1, 3));
}

inline tree parse(const std::string &text)
{
    tree top;
    node *parent_1 = nullptr;
    node *parent_2 = nullptr;
    size_t begin = 0;
    for (size_t end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
        const std::string line = text.substr(begin, end - begin);
        if (is_blank(line))
            continue;
        const int level = level_of(line);
        node *parent = level == 1 ? nullptr : level == 3 && parent_2 ? parent_2 : parent_1;
        tree &siblings = parent != nullptr ? parent->children : top;
        siblings.push_back({line, {}});
        if (level == 1) {
            parent_1 = &siblings.back();
            parent_2 = nullptr;
        } else if (level == 2) {
            parent_2 = &siblings.back();
        }
    }
    return top;
}

inline std::string shown(const node &each, char mark)
{
    std::string lines = "    " + (mark + each.text) + '\n';
    for (const node &child : each.children)
        lines += shown(child, mark);
    return lines;
}

inline std::string compare(tree &olds, tree &news)
{
    std::string lines;
    for (node &a : olds) {
        const auto b = std::find_if(news.begin(), news.end(), [&](const node &each) {
            return each.text == a.text && !each.matched;
        });
        if (b == news.end()) {
            lines += shown(a, '-');
            continue;
        }
        b->matched = true;
        const std::string below = compare(a.children, b->children);
        if (!below.empty())
            lines += "     " + a.text + '\n' + below;
    }
    for (node &b : news) {
        if (!b.matched)
            lines += shown(b, '+');
    }
    return lines;
}

inline std::string difference(const std::string &old_text, const std::string &new_text)
{
    tree olds = parse(old_text);
    tree news = parse(new_text);
    return compare(olds, news);
}

} // namespace diff_rule

#endif
