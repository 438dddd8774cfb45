// What the daemon has to say, to standard error, the system's log or a file.
#ifndef LAB_KIVD_LOG_H
#define LAB_KIVD_LOG_H

#include <array>
#include <chrono>
#include <cstdint>
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

    // For what others can cause as often as they like: so many lines of each kind in a second, so
    // that none of them hides another, and then one line that says how many more there were. The
    // text is made only where it is written: names of users are looked up for it.
    enum kind : uint8_t { bad_message, refusal, failure, kinds };
    template <class Text>
    void complain_rarely(kind about, Text text)
    {
        if (takes_one_more(about))
            complain(text());
    }

    // Whether there is something to tell when the second is over, and telling it.
    bool has_suppressed() const;
    void tell_suppressed();

private:
    enum level { info, warning };
    using clock = std::chrono::steady_clock;

    void write(level weight, std::string_view text);
    struct budget {
        clock::time_point second{};
        int lines = 0;
        int suppressed = 0;
    };

    bool takes_one_more(kind about);
    void tell_suppressed(kind about);

    std::string file_name_; // empty: no file
    kiv::support::unique_fd file_;
    bool to_system_ = false;
    std::array<budget, kinds> budgets_{};
};

} // namespace kivd

#endif
