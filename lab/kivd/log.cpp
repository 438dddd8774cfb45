#include "log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include "support/characters.h"
#include "support/files.h"

namespace kivd {

namespace {

constexpr int lines_in_a_second = 20;
constexpr mode_t file_mode = 0640;

kiv::support::unique_fd open_file(const std::string &name)
{
    return kiv::support::unique_fd(
        ::open(name.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, file_mode));
}

std::string time_stamp()
{
    const std::time_t now = std::time(nullptr);
    tm local;
    std::array<char, 32> text{};
    localtime_r(&now, &local);
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S ", &local);
    return text.data();
}

} // namespace

int log_writer::open(const std::string &where)
{
    to_system_ = where == "syslog";
    file_name_ = to_system_ || where == "stderr" ? std::string() : where;
    if (to_system_)
        openlog("kivd", LOG_PID, LOG_DAEMON);
    if (file_name_.empty())
        return 0;
    file_ = open_file(file_name_);
    return file_ ? 0 : errno;
}

void log_writer::reopen()
{
    if (file_name_.empty())
        return;
    if (kiv::support::unique_fd file = open_file(file_name_))
        file_ = std::move(file);
    else
        complain("cannot reopen " + file_name_ + ": " + std::strerror(errno));
}

void log_writer::write(level weight, std::string_view text)
{
    const std::string line = kiv::support::printable(text);
    if (to_system_) {
        syslog(weight == warning ? LOG_WARNING : LOG_INFO, "%s", line.c_str());
        return;
    }
    const int descriptor = file_ ? file_.get() : STDERR_FILENO;
    // There is nobody to tell when the log cannot be written.
    static_cast<void>(kiv::support::write_all(
        descriptor, (file_ ? time_stamp() : std::string("kivd: ")) + line + "\n"));
}

void log_writer::tell_suppressed(kind about)
{
    static constexpr std::array<const char *, kinds> names{"bad messages", "refused changes",
                                                           "failures"};
    const int count = std::exchange(budgets_[about].suppressed, 0);
    if (count > 0)
        complain(std::to_string(count) + " more " + names[about]);
}

void log_writer::tell_suppressed()
{
    for (const kind about : {bad_message, refusal, failure})
        tell_suppressed(about);
}

bool log_writer::has_suppressed() const
{
    return std::ranges::any_of(budgets_, [](const budget &each) { return each.suppressed > 0; });
}

bool log_writer::takes_one_more(kind about)
{
    budget &left = budgets_[about];
    const clock::time_point now = clock::now();
    if (now - left.second >= std::chrono::seconds(1)) {
        tell_suppressed(about);
        left.second = now;
        left.lines = 0;
    }
    if (++left.lines <= lines_in_a_second)
        return true;
    ++left.suppressed;
    return false;
}

} // namespace kivd
