#include "progress_line.h"

#include <csignal>

#include <unistd.h>

#include "support/files.h"

namespace kivctl {

namespace {

constexpr std::chrono::seconds interval{1};
constexpr const char *erase_line = "\r\033[K";

// Signals are for the thread that the library works in.
class signals_held {
public:
    signals_held()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &mask_);
    }
    ~signals_held() { pthread_sigmask(SIG_SETMASK, &mask_, nullptr); }
    signals_held(const signals_held &) = delete;
    signals_held &operator=(const signals_held &) = delete;

private:
    sigset_t mask_{};
};

} // namespace

progress_line::progress_line(bool wanted, std::function<std::string()> text)
    : text_(std::move(text))
{
    const signals_held held;
    if (wanted && isatty(STDERR_FILENO) == 1)
        thread_ = std::thread(&progress_line::keep_showing, this);
}

progress_line::~progress_line()
{
    if (!thread_.joinable())
        return;
    {
        const std::unique_lock lock = aside();
        ended_ = true;
    }
    ending_.notify_one();
    thread_.join();
}

std::unique_lock<std::mutex> progress_line::aside()
{
    std::unique_lock lock(mutex_);
    erase();
    return lock;
}

void progress_line::keep_showing()
{
    std::unique_lock lock(mutex_);
    while (!ending_.wait_for(lock, interval, [this] { return ended_; }))
        show();
}

void progress_line::show()
{
    const auto passed = std::chrono::steady_clock::now() - start_;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(passed).count();
    kiv::support::write_all(STDERR_FILENO,
                            erase_line + text_() + ", " + std::to_string(seconds) + " s");
    shown_ = true;
}

void progress_line::erase()
{
    if (shown_)
        kiv::support::write_all(STDERR_FILENO, erase_line);
    shown_ = false;
}

} // namespace kivctl
