#include "report.h"

#include <charconv>
#include <cstdio>
#include <cstring>

#include <sys/wait.h>

#include <kiv/platform/syserr.h>

#include "commands.h"

namespace kivctl {

namespace {

struct outcome {
    const char *kind;
    int number;
    std::string text;
};

outcome outcome_of(int32_t raw_status)
{
    if (raw_status < 0)
        return {"error", raw_status, "the shell could not be started"};
    if (WIFSIGNALED(raw_status)) {
        const int number = WTERMSIG(raw_status);
        return {"signal", number,
                std::string("the shell was ended by signal ") + std::to_string(number) + " (" +
                    strsignal(number) + ")"};
    }
    const int number = WEXITSTATUS(raw_status);
    if (number == 127)
        return {"exit", number, "the shell cannot be run (status 127)"};
    return {"exit", number, "the shell ended with status " + std::to_string(number)};
}

} // namespace

int show_usage(const char *usage)
{
    return std::fputs(usage, stdout) >= 0 && std::fflush(stdout) == 0 ? done : failed;
}

int refuse_usage(const char *usage)
{
    std::fputs(usage, stderr);
    return wrong_usage;
}

int fail(std::string_view subject, std::string_view problem)
{
    std::fprintf(stderr, "kivctl: %.*s: %.*s\n", static_cast<int>(subject.size()), subject.data(),
                 static_cast<int>(problem.size()), problem.data());
    return failed;
}

int report_status(int32_t raw_status, bool json)
{
    const outcome result = outcome_of(raw_status);
    if (json)
        std::printf("{\"raw_status\": %d, \"%s\": %d}\n", raw_status, result.kind, result.number);
    else if (raw_status != 0)
        std::fprintf(stderr, "kivctl: %s\n", result.text.c_str());
    return raw_status == 0 ? done : failed;
}

int report_code(uint32_t code, bool json)
{
    const char *text = syserr2str(code);
    if (json)
        std::printf("{\"code\": \"0x%08X\", \"text\": \"%s\"}\n", code, text);
    else if (code != 0)
        std::fprintf(stderr, "kivctl: 0x%08X: %s\n", code, text);
    return code == 0 ? done : failed;
}

std::string shell_word(std::string_view word)
{
    if (!word.empty() && word.find_first_of(" \t\"\\>") == std::string_view::npos)
        return std::string(word);
    std::string quoted = "\"";
    for (const char character : word) {
        if (character == '"' || character == '\\')
            quoted += '\\';
        quoted += character;
    }
    return quoted + '"';
}

bool read_number(const char *text, int32_t &number)
{
    const char *end = text + std::strlen(text);
    const auto [stop, error] = std::from_chars(text, end, number);
    return error == std::errc{} && stop == end && text != end;
}

} // namespace kivctl
