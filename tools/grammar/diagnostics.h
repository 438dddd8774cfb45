#ifndef GRAMMAR_DIAGNOSTICS_H
#define GRAMMAR_DIAGNOSTICS_H

#include <cstddef>
#include <string>
#include <vector>

namespace kiv::grammar {

struct diagnostic {
    size_t line; // from 1
    std::string text;
};

// Keeps the errors of the first lines, in the order of the lines, so that a file of any size and
// shape yields a report that can be read.
class diagnostics {
public:
    static constexpr size_t shown = 20;

    void add(size_t line, std::string text);
    bool empty() const { return kept_.empty(); }
    bool some_hidden() const { return first_hidden_line_ != 0; }

    // The errors; where some were left out, the last element says so.
    std::vector<diagnostic> take();

private:
    std::vector<diagnostic> kept_;
    size_t first_hidden_line_ = 0;
};

} // namespace kiv::grammar

#endif
