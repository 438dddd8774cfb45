#include "exec/diff_pairs.h"

#include <new>

namespace kiv::diff {

namespace {

// Walks through both ranges in step as far as they are equal. Where they are not, blocks are
// settled one at a time: those of one side wait until their like comes on the other.
class walk {
public:
    walk(lines old_lines, lines new_lines, waiting_table &waiting, std::vector<entry> &entries)
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
                settle_next(of);
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
        if (left.text() != right.text() || waiting_.has(left.text(), entries_)) {
            leave_step();
            return;
        }
        if (!is_equal)
            add_pair(left, right);
        olds.skip(left.bytes().size());
        news.skip(right.bytes().size());
    }

    // Who finds its like far back lags behind the other side by what has been put in there. It
    // goes on alone until it is level.
    void leave_step()
    {
        bool lags[] = {settle_next(old_side), settle_next(new_side)};
        for (const side of : {old_side, new_side}) {
            while (lags[of] && !readers_[of].done())
                lags[of] = settle_next(of);
        }
    }

    // Whether it has found its like, and that was not the latest of the other side.
    bool settle_next(side of)
    {
        const block next = readers_[of].peek();
        readers_[of].skip(next.bytes().size());
        const entry_index index = add(next, of);
        waiting_.settle(index, entries_);
        const entry_index partner = entries_[index].partner;
        const side other = of == old_side ? new_side : old_side;
        return partner != no_entry && entries_[partner].lines.end != readers_[other].position();
    }

    void add_pair(const block &left, const block &right)
    {
        const entry_index left_index = add(left, old_side);
        const entry_index right_index = add(right, new_side);
        entries_[left_index].partner = right_index;
        entries_[right_index].partner = left_index;
    }

    entry_index add(const block &lines, side of)
    {
        if (entries_.size() == no_entry)
            throw std::bad_alloc(); // more lines than an index can name
        entries_.push_back({lines, of});
        return static_cast<entry_index>(entries_.size() - 1);
    }

    block_reader readers_[2];
    waiting_table &waiting_;
    std::vector<entry> &entries_;
};

} // namespace

void pairing::run(lines old_lines, lines new_lines, std::vector<entry> &entries)
{
    entries.clear();
    waiting_.clear();
    walk(old_lines, new_lines, waiting_, entries).run();
}

} // namespace kiv::diff
