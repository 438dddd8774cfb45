#ifndef KIVCTL_PROGRESS_LINE_H
#define KIVCTL_PROGRESS_LINE_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace kivctl {

// The last line of the terminal on standard error, while something takes long: from the first
// second on, and written anew every second. It is gone when this object is.
class progress_line {
public:
    // `text` says how far things are; a thread of the line's own calls it. Without `wanted`, or a
    // terminal, there is no line.
    progress_line(bool wanted, std::function<std::string()> text);
    progress_line(const progress_line &) = delete;
    progress_line &operator=(const progress_line &) = delete;
    ~progress_line();

    // Takes the line away for as long as the result lives, for a message to take its place.
    [[nodiscard]] std::unique_lock<std::mutex> aside();

private:
    void keep_showing();
    void show();
    void erase();

    std::function<std::string()> text_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::mutex mutex_;
    std::condition_variable ending_;
    bool ended_ = false;
    bool shown_ = false;
    std::thread thread_;
};

} // namespace kivctl

#endif
