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
    char mark = 0;
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

inline node marked(const node &original, char mark)
{
    node copy{original.text, {}, false, mark};
    for (const node &child : original.children)
        copy.children.push_back(marked(child, mark));
    return copy;
}

inline tree compare(tree &olds, tree &news)
{
    tree result;
    for (node &a : olds) {
        const auto b = std::find_if(news.begin(), news.end(), [&](const node &each) {
            return each.text == a.text && !each.matched;
        });
        if (b == news.end()) {
            result.push_back(marked(a, '-'));
            continue;
        }
        tree sub = compare(a.children, b->children);
        b->matched = a.matched = true;
        if (!sub.empty())
            result.push_back({a.text, std::move(sub), false, ' '});
    }
    for (node &b : news) {
        if (!b.matched) {
            b.matched = true;
            result.push_back(marked(b, '+'));
        }
    }
    return result;
}

inline void print(const tree &result, std::string &into)
{
    for (const node &each : result) {
        into.append("    ").append(1, each.mark).append(each.text).append("\n");
        print(each.children, into);
    }
}

inline std::string difference(const std::string &old_text, const std::string &new_text)
{
    tree olds = parse(old_text);
    tree news = parse(new_text);
    std::string printed;
    print(compare(olds, news), printed);
    return printed;
}

} // namespace diff_rule

#endif
