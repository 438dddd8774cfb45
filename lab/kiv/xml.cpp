#include "xml.h"

#include <algorithm>

#include "support/characters.h"

namespace kiv_shell {

namespace {

using kiv::support::character;

// Printable, but kept out of XML.
constexpr char32_t first_noncharacter = 0xFFFE;
constexpr char32_t last_noncharacter = 0xFFFF;

bool can_stand_in_xml(const character &next)
{
    const bool noncharacter = next.code >= first_noncharacter && next.code <= last_noncharacter;
    return next.length != 0 && !noncharacter &&
           (next.code == '\t' || kiv::support::is_printable(next.code));
}

void append_character(std::string &xml, std::string_view bytes)
{
    switch (bytes.front()) {
    case '&':
        xml += "&amp;";
        break;
    case '<':
        xml += "&lt;";
        break;
    case '>':
        xml += "&gt;";
        break;
    case '"':
        xml += "&quot;";
        break;
    case '\t':
        xml += "&#9;"; // as it stands, it would be read as a blank in an attribute
        break;
    default:
        xml += bytes;
    }
}

void append_byte_element(std::string &xml, char byte)
{
    constexpr std::string_view digits = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(byte);
    xml.append("<byte value=\"").append(1, digits[value >> 4]).append(1, digits[value & 0xF]);
    xml += "\"/>";
}

void append_replacement(std::string &xml, char)
{
    xml += "\xEF\xBF\xBD";
}

void append_text(std::string &xml, std::string_view text,
                 void (*append_other)(std::string &xml, char byte))
{
    while (!text.empty()) {
        const character next = kiv::support::first_character(text);
        const bool stands = can_stand_in_xml(next);
        const size_t length = stands ? next.length : 1;
        if (stands)
            append_character(xml, text.substr(0, length));
        else
            append_other(xml, text.front());
        text.remove_prefix(length);
    }
}

} // namespace

std::string xml_show(std::string_view command, std::string_view output)
{
    std::string xml = "<show command=\"";
    append_text(xml, command, append_replacement);
    xml += "\">\n";
    while (!output.empty()) {
        const std::string_view line = output.substr(0, output.find('\n'));
        xml += "<line>";
        append_text(xml, line, append_byte_element);
        xml += "</line>\n";
        output.remove_prefix(std::min(line.size() + 1, output.size()));
    }
    return xml += "</show>\n";
}

} // namespace kiv_shell
