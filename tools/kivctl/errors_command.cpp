#include <array>
#include <cstdint>
#include <cstdio>
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

void print_plain()
{
    for (const error_row &row : rows)
        std::printf("0x%08X  %-28s  %s\n", row.code, row.name, row.text);
}

void print_markdown()
{
    std::puts("# Library error codes\n\n"
              "Made by `kivctl errors --markdown` from the table in `kiv/platform/syserr.h`.\n\n"
              "| code | name | text |\n|---|---|---|");
    for (const error_row &row : rows)
        std::printf("| 0x%08X | `%s` | %s |\n", row.code, row.name, row.text);
    std::puts("\nA failure of the message transport is 0x80540000 with the low 12 bits of `errno`\n"
              "put in; its text is the system's own.");
}

void print_json()
{
    std::puts("[");
    for (const error_row &row : rows) {
        std::printf("  {\"code\": \"0x%08X\", \"name\": \"%s\", \"text\": \"%s\"}%s\n", row.code,
                    row.name, row.text, &row == &rows.back() ? "" : ",");
    }
    std::puts("]");
}

struct form {
    std::string_view option;
    void (*print)();
};

constexpr std::array forms{form{"", print_plain}, form{"--markdown", print_markdown},
                           form{"--json", print_json}};

} // namespace

int errors_command(int argc, char **argv)
{
    const std::string_view wanted = argc > 1 ? argv[1] : "";
    if (wanted == "--help")
        return show_usage(usage);
    if (argc <= 2) {
        for (const form &known : forms) {
            if (known.option == wanted) {
                known.print();
                return std::fflush(stdout) == 0 ? done : failed;
            }
        }
    }
    return refuse_usage(usage);
}

} // namespace kivctl
