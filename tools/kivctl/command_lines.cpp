#include "command_lines.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <sys/types.h>

#include "commands.h"
#include "report.h"
#include "support/characters.h"

namespace kivctl {

void command_lines::stream_closer::operator()(FILE *stream) const
{
    if (stream != stdin)
        std::fclose(stream);
}

command_lines::~command_lines()
{
    std::free(text_);
}

int command_lines::open(const char *path)
{
    const bool is_standard_input = std::string_view(path) == "-";
    name_ = is_standard_input ? "standard input" : kiv::support::printable(path);
    stream_.reset(is_standard_input ? stdin : std::fopen(path, "re"));
    return stream_ ? done : fail(name_, std::strerror(errno));
}

bool command_lines::next(std::string &line)
{
    do {
        errno = 0;
        const ssize_t length = getline(&text_, &size_, stream_.get());
        if (length < 0) {
            error_ = std::ferror(stream_.get()) != 0 || errno == ENOMEM ? errno : 0;
            return false;
        }
        ++number_;
        line.assign(text_, static_cast<size_t>(length));
        line.erase(line.find_last_not_of("\r\n") + 1);
    } while (line.empty());
    holds_nul_ = line.find('\0') != std::string::npos;
    return !holds_nul_;
}

int command_lines::finish() const
{
    if (holds_nul_)
        return fail(place(), "holds a NUL byte");
    return error_ == 0 ? done : fail(name_, std::strerror(error_));
}

} // namespace kivctl
