#include "kept_configuration.h"

namespace kiv_shell {

namespace {

// Text that is longer might be cut where its writer is killed.
constexpr size_t longest_appended = 4096;

// A file may be twice as long as it has to be, and this.
constexpr off_t allowance = 65536;

} // namespace

kept_configuration::kept_configuration(const tree_view &tree, configuration_store &store,
                                       std::optional<node_index> mode)
    : tree_(tree), store_(store), mode_(mode)
{
}

void kept_configuration::take_mode(std::optional<node_index> mode)
{
    mode_ = mode;
    settings_.reset();
}

failure kept_configuration::read(configuration &into) const
{
    std::string text;
    bool is_whole = true;
    failure failed = store_.read(text, is_whole);
    if (!failed && (failed = into.load(text)))
        *failed = store_.file_name() + ": " + *failed;
    return failed;
}

failure kept_configuration::load_again()
{
    const configuration_store::state now = store_.now();
    if (settings_ && now == known_)
        return {};
    settings_.reset();
    std::string text;
    if (auto failed = store_.read(text, is_whole_))
        return failed;
    configuration fresh = empty();
    if (auto failed = fresh.load(text))
        return store_.file_name() + ": " + *failed;
    settings_ = std::move(fresh);
    known_ = now;
    compact_size_ = static_cast<off_t>(settings_->text().size());
    return {};
}

failure kept_configuration::store_changes()
{
    const std::string added = settings_->take_added();
    const bool only_added = !settings_->take_removed();
    if (only_added && added.empty())
        return {};
    const bool is_short =
        added.size() <= longest_appended &&
        known_.size + static_cast<off_t>(added.size()) <= 2 * compact_size_ + allowance;
    failure failed;
    if (only_added && is_short && is_whole_ && known_.inode != 0) {
        failed = store_.append(added, known_);
        is_settled_ = false;
    } else {
        const std::string text = settings_->text();
        failed = store_.replace(text);
        // Where lines that the tree does not know stand depends on those before them.
        settings_.reset();
    }
    known_ = store_.now();
    return failed;
}

failure kept_configuration::update(const change &work)
{
    if (!in_change_)
        return in_one_change([&] { return update(work); });
    if (auto failed = begin())
        return failed;
    return work(*settings_);
}

// The store is locked with the first change of a setting of the shell's own: who changes those of
// modules only need not be able to.
failure kept_configuration::begin()
{
    if (has_begun_)
        return {};
    if (auto failed = store_.lock())
        return failed;
    failure failed = load_again();
    has_begun_ = !failed;
    if (failed)
        store_.unlock();
    return failed;
}

failure kept_configuration::in_one_change(const std::function<failure()> &work)
{
    in_change_ = true;
    failure failed = work();
    in_change_ = false;
    if (!has_begun_)
        return failed;
    has_begun_ = false;
    if (!failed)
        failed = store_changes();
    if (failed)
        settings_.reset();
    store_.unlock();
    return failed;
}

failure kept_configuration::settle()
{
    if (is_settled_)
        return {};
    is_settled_ = true;
    return store_.settle();
}

} // namespace kiv_shell
