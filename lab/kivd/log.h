// What the daemon has to say, to standard error, the system's log or a file.
#ifndef LAB_KIVD_LOG_H
#define LAB_KIVD_LOG_H

#include <chrono>
#include <string>
#include <string_view>

#include "support/unique_fd.h"

namespace kivd {

class log_writer {
public:
    // Where to: "stderr", "syslog" or the path of a file. Returns 0 or an errno value.
    int open(const std::string &where);

    // Opens the file again, which may have another name by now. Says on standard error what fails,
    // and goes on with the old file.
    void reopen();

    void write(std::string_view text) { write(info, text); }
    void complain(std::string_view text) { write(warning, text); }

    // For what others can cause as often as they like: so many lines in a second, then one line
    // that says how many there were.
    void complain_rarely(std::string_view text);

private:
    enum level { info, warning };
    using clock = std::chrono::steady_clock;

    void write(level weight, std::string_view text);
    void tell_suppressed();

    std::string file_name_; // empty: no file
    kiv::support::unique_fd file_;
    bool to_system_ = false;
    clock::time_point second_{};
    int in_second_ = 0;
    int suppressed_ = 0;
};

} // namespace kivd

#endif
