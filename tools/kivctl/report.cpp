#include "report.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>

#include <sys/wait.h>

#include <kiv/platform/syserr.h>

#include "commands.h"
#include "support/characters.h"

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
        return {"error", raw_status, "the command could not be run"};
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

void complain(std::string_view subject, std::string_view problem)
{
    std::fprintf(stderr, "%.*s: %.*s\n", static_cast<int>(subject.size()), subject.data(),
                 static_cast<int>(problem.size()), problem.data());
}

} // namespace

int print(std::string_view text)
{
    errno = 0;
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
    if (std::ferror(stdout) == 0)
        return done;
    return fail("standard output", errno != 0 ? std::strerror(errno) : "something was not written");
}

int show_usage(const char *usage)
{
    return print(usage);
}

int refuse_usage(const char *usage)
{
    std::fputs(usage, stderr);
    return wrong_usage;
}

int refuse_usage(const char *usage, std::string_view program, std::string_view problem)
{
    refuse(program, problem);
    return refuse_usage(usage);
}

int refuse_job(const char *usage, int argc, char **argv)
{
    return refuse_usage(usage, argv[0],
                        argc > 1 ? "no job \"" + kiv::support::printable(argv[1]) + '"' : "no JOB");
}

int refuse_operands(const char *usage, std::string_view program, std::span<char *const> operands,
                    size_t most)
{
    return refuse_usage(usage, program,
                        operands.size() > most
                            ? "unexpected \"" + kiv::support::printable(operands[most]) + '"'
                            : "an operand is missing");
}

int refuse(std::string_view program, std::string_view problem)
{
    complain(program, problem);
    return wrong_usage;
}

int fail(std::string_view subject, std::string_view problem)
{
    complain("kivctl: " + std::string(subject), problem);
    return failed;
}

int report_status(int32_t raw_status, bool json)
{
    const outcome result = outcome_of(raw_status);
    if (!json && raw_status != 0)
        std::fprintf(stderr, "kivctl: %s\n", result.text.c_str());
    const std::string line = "{\"raw_status\": " + std::to_string(raw_status) + ", \"" +
                             result.kind + "\": " + std::to_string(result.number) + "}\n";
    const int printed = print(json ? line : "");
    return raw_status == 0 ? printed : failed;
}

int report_code(uint32_t code, bool json)
{
    const std::string number = hexadecimal(code);
    const char *text = syserr2str(code);
    if (!json && code != 0)
        fail(number, text);
    const int printed =
        print(json ? "{\"code\": \"" + number + "\", \"text\": \"" + text + "\"}\n" : "");
    return code == 0 ? printed : failed;
}

std::string hexadecimal(uint32_t code)
{
    std::array<char, 16> digits;
    std::snprintf(digits.data(), digits.size(), "0x%08X", code);
    return digits.data();
}

bool read_number(const char *text, int32_t &number)
{
    const char *end = text + std::strlen(text);
    const auto [stop, error] = std::from_chars(text, end, number);
    return error == std::errc{} && stop == end && text != end;
}

} // namespace kivctl
