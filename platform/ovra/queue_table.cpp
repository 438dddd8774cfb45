#include "ovra/queue_table.h"

#include <array>
#include <atomic>
#include <map>

namespace kiv::transport::queue_table {

namespace {

// Never destroyed: threads may outlive main. Changed with the fork mutex held only.
struct table {
    std::map<int, std::unique_ptr<queue>> queues;
    uint32_t process = process_generation();
    // Nobody touches these again: another thread of the parent may have been at work on them when
    // it forked, or somebody else closed their descriptors, whose numbers now belong to others.
    std::multimap<int, std::unique_ptr<queue>> lost;
};

// Low numbers, nearly all that there are, are found without the mutex.
struct shortcut {
    std::atomic<queue *> target;
    std::atomic<uint32_t> process;
};
std::array<shortcut, 1024> shortcuts;

bool has_shortcut(int number)
{
    return number >= 0 && static_cast<size_t>(number) < shortcuts.size();
}

void set_shortcut(int number, queue *target)
{
    if (!has_shortcut(number))
        return;
    shortcut &changed = shortcuts[static_cast<size_t>(number)];
    changed.process = process_generation();
    changed.target = target;
}

table &current()
{
    static table &tables = *new table;
    if (tables.process != process_generation()) {
        tables.lost.merge(tables.queues);
        tables.process = process_generation();
    }
    return tables;
}

queue *find_slowly(int number)
{
    const std::lock_guard hold(fork_mutex());
    const auto &queues = current().queues;
    const auto found = queues.find(number);
    return found == queues.end() ? nullptr : found->second.get();
}

} // namespace

queue *find(int number)
{
    if (!has_shortcut(number))
        return find_slowly(number);
    const shortcut &found = shortcuts[static_cast<size_t>(number)];
    return found.process == process_generation() ? found.target.load() : nullptr;
}

int add(std::unique_ptr<queue> opened)
{
    const std::lock_guard hold(fork_mutex());
    const int number = opened->number();
    queue *const target = opened.get();
    table &tables = current();
    if (auto old = tables.queues.extract(number); !old.empty())
        tables.lost.insert(std::move(old));
    tables.queues.emplace(number, std::move(opened));
    set_shortcut(number, target);
    return number;
}

std::unique_ptr<queue> take(int number)
{
    const std::lock_guard hold(fork_mutex());
    auto taken = current().queues.extract(number);
    if (taken.empty())
        return nullptr;
    set_shortcut(number, nullptr);
    return std::move(taken.mapped());
}

} // namespace kiv::transport::queue_table
