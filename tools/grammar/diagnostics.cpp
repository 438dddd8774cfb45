#include "grammar/diagnostics.h"

#include <algorithm>
#include <utility>

namespace kiv::grammar {

void diagnostics::add(size_t line, std::string text)
{
    const auto after = std::upper_bound(
        kept_.begin(), kept_.end(), line,
        [](size_t wanted, const diagnostic &other) { return wanted < other.line; });
    kept_.insert(after, {line, std::move(text)});
    if (kept_.size() <= shown)
        return;
    const size_t hidden = kept_.back().line;
    first_hidden_line_ = some_hidden() ? std::min(first_hidden_line_, hidden) : hidden;
    kept_.pop_back();
}

std::vector<diagnostic> diagnostics::take()
{
    if (some_hidden())
        kept_.push_back({first_hidden_line_, "further errors are not shown"});
    return std::move(kept_);
}

} // namespace kiv::grammar
