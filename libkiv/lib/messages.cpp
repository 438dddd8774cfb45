#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include <kiv/kiv_lib.h>

#include "common/text.h"
#include "exec/child.h"

namespace {

constexpr int first_pseudo_terminal = 0;
constexpr int last_pseudo_terminal = 31;

// Goes on where it was interrupted; what the terminal does not take is given up.
void write_to_terminal(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written > 0)
            bytes.remove_prefix(static_cast<size_t>(written));
        else if (written == 0 || errno != EINTR)
            return;
    }
}

} // namespace

void kiv_print_communication_failure_message() noexcept
{
    std::puts("Communication could not be established with the process");
}

void kiv_print_timeout_message(int32_t kind) noexcept
{
    KIV_ASSERT_TEXT("kiv_lib", kind >= KIV_TIMEOUT_QUERY && kind <= KIV_TIMEOUT_LAST, "0");
    if (kind == KIV_TIMEOUT_QUERY)
        std::puts("Process did not respond within the expected timeframe, please try again.");
    else
        std::puts("Process did not respond within the expected timeframe\n"
                  "Please check if the command was successful using appropriate show commands");
}

int kiv_print_ovra_error_message(int32_t kind, int32_t error) noexcept
{
    switch (error) {
    case EPIPE:
        kiv_print_communication_failure_message();
        break;
    case ETIME:
        kiv_print_timeout_message(kind);
        break;
    default:
        std::perror("Internal CLI error");
    }
    return 0;
}

int display_terminal(const char *message) noexcept
{
    KIV_ASSERT("kiv_lib", message);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    const char *name = ttyname(STDIN_FILENO);
    if (name == nullptr)
        return 0;
    const int terminal = open(name, O_WRONLY | O_NOCTTY | O_CLOEXEC);
    if (terminal < 0)
        return 0;
    write_to_terminal(terminal, {message, std::strlen(message) + 1});
    close(terminal);
    return 0;
}

int notify_session(const char *tty, const char *message) noexcept
{
    KIV_ASSERT("kiv_lib", tty);
    KIV_ASSERT("kiv_lib", message);
    kiv::fixed_text<KIV_NOTICE_COMMAND_SIZE> command;
    command.append("echo ").append(message).append(" > /dev/").append(tty);
    return command.overflowed() ? -1 : kiv::run_line(command.c_str());
}

void kiv_notify_cli_sessions(const char *message) noexcept
{
    notify_session("ttyS0", message);
    for (int number = first_pseudo_terminal; number <= last_pseudo_terminal; ++number) {
        kiv::fixed_text<16> tty;
        tty.append("pts/").append(number);
        notify_session(tty.c_str(), message);
    }
}

int kiv_log_mesg_to_file(const char *path, const char *str) noexcept
{
    KIV_ASSERT("kiv_lib", path);
    KIV_ASSERT("kiv_lib", str);
    std::FILE *log = std::fopen(path, "ae");
    if (log == nullptr)
        return 0;
    std::fputs(str, log);
    std::fclose(log);
    return 0;
}

int kiv_log_file_clear(const char *path) noexcept
{
    KIV_ASSERT("kiv_lib", path);
    return std::remove(path);
}
