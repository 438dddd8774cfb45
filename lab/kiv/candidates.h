// What can come next in a line that is being typed.
#ifndef LAB_KIV_CANDIDATES_H
#define LAB_KIV_CANDIDATES_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tree.h"
#include "words.h"

namespace kiv_shell {

struct candidate {
    enum class kind { keyword, argument, sign };
    kind what;
    std::string shown; // a keyword, "<vsan 1..4093>", or ">" and "<cr>"
    std::string help;
};

struct candidates {
    word typed; // what there is of the word that is being typed
    std::vector<candidate> list;
    bool is_text = false; // within what is taken as it stands: a quoted word, a line, a comment
    std::optional<line_error> error; // why nothing can come
};

// For the line up to the cursor, in a mode; in one that is not the outermost, "do" leads on to the
// commands of that which leave the mode as it is. Keywords come first, by the alphabet. A number is
// one of them where the word can still become one that fits, another argument where no keyword
// begins with the word, or the word fits.
candidates find_candidates(const tree_view &tree, node_index mode, std::string_view line);

// What the keywords leave no choice of: the rest of the word, and a blank where it is in full then.
std::string completion(const candidates &found);

// A line for each, with the help in a column.
std::string help_text(const candidates &found);

} // namespace kiv_shell

#endif
