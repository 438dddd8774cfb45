#include "exec/diff_pairs.h"

#include <algorithm>
#include <array>
#include <new>
#include <span>

namespace kiv::diff {

namespace {

// Walks through both ranges in step as far as they are equal. Where they are not, blocks are
// settled one at a time: those of one side wait until their like comes on the other.
class walk {
public:
    walk(lines old_lines, lines new_lines, waiting_table &waiting, large_vector<entry> &entries)
        : readers_{block_reader(old_lines), block_reader(new_lines)}, waiting_(waiting),
          entries_(entries)
    {
    }

    void run()
    {
        while (!readers_[old_side].done() && !readers_[new_side].done())
            step();
        for (const side of : {old_side, new_side}) {
            while (!readers_[of].done())
                settle(of, largest_batch);
        }
    }

private:
    void step()
    {
        block_reader &olds = readers_[old_side];
        block_reader &news = readers_[new_side];
        const block left = olds.peek();
        const bool is_equal = news.is_next(left);
        const block right = is_equal ? left : news.peek();
        if (left.text() != right.text()) {
            leave_step(left, right);
            return;
        }
        strays_ = 0;
        if (waiting_.has(left.text(), entries_)) {
            settle(old_side, 1);
            settle(new_side, 1);
            return;
        }
        if (!is_equal)
            add_pair(left, right);
        olds.skip(left.bytes().size());
        news.skip(right.bytes().size());
    }

    // Most often a single block has been put in or taken out.
    void leave_step(const block &left, const block &right)
    {
        if (readers_[new_side].is_behind(right, left.text()))
            settle(new_side, 1);
        else if (readers_[old_side].is_behind(left, right.text()))
            settle(old_side, 1);
        else
            settle_both();
    }

    // A side that finds the next block's like among those who wait lags behind the other by what
    // has been put in there. It goes on alone until it is level; then both are in step again.
    void settle_both()
    {
        if (++strays_ == despair)
            expect_many();
        const size_t batch = strays_ > patience ? largest_batch : 1;
        for (const side of : {old_side, new_side}) {
            outcome last = settle(of, batch);
            if (last == outcome::waits)
                continue;
            while (last == outcome::lags && !readers_[of].done())
                last = settle(of, batch);
            return;
        }
    }

    enum class outcome { waits, lags, is_level };

    // Settles so many of the next blocks, but stops when they have come level with the other side.
    // Tells how it was with the last of them.
    outcome settle(side of, size_t count)
    {
        std::array<sighted, largest_batch> ahead;
        count = look_ahead(of, std::span(ahead).first(count));
        outcome last = outcome::waits;
        for (size_t i = 0; i < count && last != outcome::is_level; ++i)
            last = settle(of, ahead[i]);
        return last;
    }

    struct sighted {
        block lines;
        uint64_t hash;
    };

    outcome settle(side of, const sighted &next)
    {
        readers_[of].skip(next.lines.bytes().size());
        const entry_index index = add(next.lines, of);
        waiting_.settle(index, next.hash, entries_);
        const entry &settled = entries_[index];
        if (settled.state == status::waits)
            return outcome::waits;
        const side other = of == old_side ? new_side : old_side;
        return entries_[settled.link].lines.end == readers_[other].position() ? outcome::is_level
                                                                              : outcome::lags;
    }

    // Most of what is left will have to be settled, so memory for it is taken at once. As many
    // bytes as the texts have are entries enough for lines of usual length.
    void expect_many()
    {
        const size_t bytes = readers_[old_side].bytes_left() + readers_[new_side].bytes_left();
        const size_t expected = entries_.size() + bytes / sizeof(entry);
        if (expected > entries_.capacity())
            entries_.reserve(std::max(expected, 2 * entries_.capacity()));
        waiting_.reserve(bytes / sizeof(entry) / 4);
    }

    // Reads the blocks that come next, and has what is known of them brought from memory.
    size_t look_ahead(side of, std::span<sighted> ahead)
    {
        size_t count = 0;
        for (block_reader reader = readers_[of]; count < ahead.size() && !reader.done(); ++count) {
            const block next = reader.peek();
            reader.skip(next.bytes().size());
            ahead[count] = {next, waiting_.hash(next.text())};
        }
        for (const sighted &each : ahead.first(count))
            waiting_.touch_queue(each.hash);
        for (const sighted &each : ahead.first(count))
            waiting_.touch_text(each.hash, entries_);
        return count;
    }

    void add_pair(const block &left, const block &right)
    {
        const entry_index left_index = add(left, old_side);
        const entry_index right_index = add(right, new_side);
        entries_[left_index].link = right_index;
        entries_[right_index].link = left_index;
        entries_[left_index].state = entries_[right_index].state = status::paired;
    }

    entry_index add(const block &lines, side of)
    {
        if (entries_.size() == no_entry)
            throw std::bad_alloc(); // more lines than an index can name
        entries_.push_back({lines, no_entry, of, status::waits});
        return static_cast<entry_index>(entries_.size() - 1);
    }

    // How often in a row none of the simple explanations may hold before blocks are settled in
    // batches, and until the texts are taken to be in different orders.
    static constexpr size_t patience = 4;
    static constexpr size_t despair = 64;
    static constexpr size_t largest_batch = 16;

    block_reader readers_[2];
    waiting_table &waiting_;
    large_vector<entry> &entries_;
    size_t strays_ = 0;
};

} // namespace

void pairing::run(lines old_lines, lines new_lines, large_vector<entry> &entries)
{
    entries.clear();
    waiting_.clear();
    walk(old_lines, new_lines, waiting_, entries).run();
}

} // namespace kiv::diff
