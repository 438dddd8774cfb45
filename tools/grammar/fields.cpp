#include "grammar/fields.h"

#include <algorithm>
#include <string>

#include "grammar/refusal.h"

namespace kiv::grammar {

void store_text(std::span<char> field, std::string_view text, std::string_view name)
{
    if (text.size() >= field.size())
        refuse_found(
            std::string(name) + " of at most " + std::to_string(field.size() - 1) + " bytes", text);
    std::ranges::fill(field, '\0');
    std::ranges::copy(text, field.begin());
}

void read_help(word_list &words, std::span<char> field)
{
    const word *help = words.peek();
    if (help == nullptr)
        return;
    if (!help->quoted)
        refuse_found("HELP in double quotes", help->text);
    store_text(field, help->text, "HELP");
    words.skip();
}

} // namespace kiv::grammar
