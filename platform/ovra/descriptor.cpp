#include "ovra/descriptor.h"

#include <atomic>
#include <cerrno>
#include <new>
#include <set>

#include <pthread.h>
#include <unistd.h>

namespace kiv::transport {

namespace {

std::mutex mutex;
std::atomic<uint32_t> generation;

// Every descriptor that a fork has to close. Never destroyed: threads may outlive main.
std::set<int> &open_descriptors()
{
    static std::set<int> &set = *new std::set<int>;
    return set;
}

void before_fork()
{
    mutex.lock();
}

void after_fork()
{
    mutex.unlock();
}

void begin_child()
{
    for (const int number : open_descriptors())
        close(number);
    open_descriptors().clear();
    ++generation;
    mutex.unlock();
}

int watch_forks()
{
    static const int error = pthread_atfork(before_fork, after_fork, begin_child);
    return error;
}

int record(int number)
{
    try {
        open_descriptors().insert(number);
        return number;
    } catch (const std::bad_alloc &) {
        close(number);
        errno = ENOMEM;
        return -1;
    }
}

} // namespace

descriptor descriptor::open(const std::function<int()> &make)
{
    descriptor opened;
    if (const int error = watch_forks(); error != 0) {
        errno = error;
        return opened;
    }
    const std::lock_guard hold(mutex);
    const int number = make();
    opened.number_ = number < 0 ? -1 : record(number);
    opened.process_ = generation;
    return opened;
}

descriptor::~descriptor()
{
    if (!*this)
        return;
    const std::lock_guard hold(mutex);
    open_descriptors().erase(number_);
    close(number_);
}

descriptor::operator bool() const
{
    return number_ >= 0 && process_ == generation;
}

uint32_t process_generation()
{
    return generation;
}

std::mutex &fork_mutex()
{
    return mutex;
}

} // namespace kiv::transport
