#include "tree/json.h"

#include <array>
#include <cstdio>

#include "support/characters.h"

namespace kiv::tree {

namespace {

constexpr std::string_view no_character = "\\ufffd";

void append_character(std::string &to, std::string_view bytes, char32_t code)
{
    if (code == '"' || code == '\\')
        to.append("\\").append(bytes);
    else if (support::is_printable(code))
        to += bytes;
    else {
        std::array<char, 8> escaped;
        std::snprintf(escaped.data(), escaped.size(), "\\u%04x", static_cast<unsigned>(code));
        to += escaped.data();
    }
}

} // namespace

std::string json_string(std::string_view text)
{
    std::string quoted = "\"";
    while (!text.empty()) {
        const support::character next = support::first_character(text);
        if (next.length == 0)
            quoted += no_character;
        else
            append_character(quoted, text.substr(0, next.length), next.code);
        text.remove_prefix(next.length == 0 ? 1 : next.length);
    }
    return quoted += '"';
}

json_object &json_object::add(std::string_view key, std::string_view value)
{
    members_.append(members_.empty() ? "" : ", ").append(json_string(key));
    members_.append(": ").append(value);
    return *this;
}

json_object &json_object::add_number(std::string_view key, uint64_t number)
{
    return add(key, std::to_string(number));
}

json_object &json_object::add_flag(std::string_view key, bool flag)
{
    return add(key, flag ? "true" : "false");
}

json_object &json_object::add_text(std::string_view key, std::string_view text)
{
    return add(key, json_string(text));
}

json_object &json_object::add_if_set(std::string_view key, std::string_view text)
{
    return text.empty() ? *this : add_text(key, text);
}

} // namespace kiv::tree
