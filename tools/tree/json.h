#ifndef TREE_JSON_H
#define TREE_JSON_H

#include <cstdint>
#include <string>
#include <string_view>

namespace kiv::tree {

// The text as a JSON string (RFC 8259). A byte that is of no character becomes U+FFFD.
std::string json_string(std::string_view text);

// Collects the members of an object.
class json_object {
public:
    // `value` is JSON already.
    json_object &add(std::string_view key, std::string_view value);
    json_object &add_number(std::string_view key, uint64_t number);
    json_object &add_flag(std::string_view key, bool flag);
    json_object &add_text(std::string_view key, std::string_view text);

    // Does nothing for an empty text.
    json_object &add_if_set(std::string_view key, std::string_view text);

    std::string text() const { return '{' + members_ + '}'; }

private:
    std::string members_;
};

} // namespace kiv::tree

#endif
