#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include <kiv/platform/syserr.h>

#include "commands.h"
#include "report.h"

namespace kivctl {

namespace {

constexpr const char *usage =
    "usage: kivctl errors [--markdown|--json]\n"
    "\n"
    "Prints the library's error codes, their names in the headers and their texts.\n";

struct error_row {
    const char *name;
    uint32_t code;
    const char *text;
};

constexpr std::array rows{
#define KIV_ERROR_ROW(name, code, text) error_row{#name, code, text},
    KIV_ERROR_TABLE(KIV_ERROR_ROW)
#undef KIV_ERROR_ROW
};

std::string plain_text()
{
    constexpr size_t name_width = 30;
    std::string text;
    for (const error_row &row : rows) {
        std::string name = row.name;
        name.resize(std::max(name.size() + 2, name_width), ' ');
        text.append(hexadecimal(row.code)).append("  ").append(name).append(row.text).append("\n");
    }
    return text;
}

std::string markdown_text()
{
    std::string text =
        "# Library error codes\n\n"
        "Made by `kivctl errors --markdown` from the table in `kiv/platform/syserr.h`.\n\n"
        "| code | name | text |\n|---|---|---|\n";
    for (const error_row &row : rows)
        text.append("| " + hexadecimal(row.code))
            .append(std::string(" | `") + row.name + "` | " + row.text + " |\n");
    return text + "\nA failure of the message transport is 0x80540000 with the low 12 bits of "
                  "`errno`\nput in; its text is the system's own.\n";
}

std::string json_text()
{
    std::string text;
    for (const error_row &row : rows) {
        text.append(text.empty() ? "[\n" : ",\n");
        text.append("  {\"code\": \"" + hexadecimal(row.code) + "\", \"name\": \"" + row.name)
            .append(std::string("\", \"text\": \"") + row.text + "\"}");
    }
    return text + "\n]\n";
}

struct form {
    std::string_view option;
    std::string (*text)();
};

constexpr std::array forms{form{"", plain_text}, form{"--markdown", markdown_text},
                           form{"--json", json_text}};

} // namespace

int errors_command(int argc, char **argv)
{
    const std::string_view wanted = argc > 1 ? argv[1] : "";
    if (wanted == "--help")
        return show_usage(usage);
    if (argc <= 2) {
        for (const form &known : forms) {
            if (known.option == wanted)
                return print(known.text());
        }
    }
    return refuse_usage(usage);
}

} // namespace kivctl
