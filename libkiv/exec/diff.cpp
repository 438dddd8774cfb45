// The differences of two indented texts.

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include <kiv/extras.h>
#include <kiv/kiv_exec_lib.h>

#include "exec/diff_lines.h"
#include "exec/diff_listing.h"
#include "exec/diff_pairs.h"

namespace kiv::diff {

namespace {

class comparison {
public:
    // Only the first difference is of interest.
    explicit comparison(bool only_first) : only_first_(only_first) {}

    // Blocks of the old text first, in its order, then what the new one has more. The levels of
    // nested blocks increase, so their number bounds the depth.
    void compare(lines old_lines, lines new_lines, size_t depth = 0)
    {
        large_vector<entry> &entries = entries_[depth];
        pairing_.run(old_lines, new_lines, entries);
        for (const entry &each : entries) {
            if (is_decided())
                return;
            if (each.of == old_side)
                compare_block(each, entries, depth);
        }
        for (const entry &each : entries) {
            if (each.of == new_side && each.state == status::waits)
                differences_.add('+', each.lines);
        }
    }

    listing &differences() { return differences_; }

private:
    bool is_decided() const { return only_first_ && !differences_.empty(); }

    void compare_block(const entry &left, const large_vector<entry> &entries, size_t depth)
    {
        if (left.state == status::waits) {
            differences_.add('-', left.lines);
            return;
        }
        if (left.state == status::equal ||
            depth + 1 == entries_.size()) // the last level has no children
            return;
        const block &right = entries[left.link].lines;
        differences_.enter(left.lines.text());
        compare(left.lines.children(), right.children(), depth + 1);
        differences_.leave();
    }

    bool only_first_;
    pairing pairing_;
    std::array<large_vector<entry>, deepest_level> entries_;
    listing differences_;
};

// How many bytes both texts begin with. Goes in short parts, so that what the search for the end
// has brought near is still there for the comparison.
size_t common_length(const char *left, const char *right)
{
    constexpr size_t part = 4096;
    for (size_t at = 0;; at += part) {
        const size_t length = strnlen(left + at, part);
        const size_t both = strnlen(right + at, length);
        if (both == part && std::memcmp(left + at, right + at, part) == 0)
            continue;
        const char *differs = std::mismatch(left + at, left + at + both, right + at).first;
        return static_cast<size_t>(differs - left);
    }
}

// Blocks that both texts begin with are pairs. The last block of the common part is not among them:
// it may go on behind it, in one text or the other.
size_t common_blocks(const char *text, size_t common)
{
    while (common > 0) {
        const void *newline = memrchr(text, '\n', common - 1);
        const char *line = newline == nullptr ? text : static_cast<const char *>(newline) + 1;
        if (static_cast<unsigned char>(*line) > ' ')
            return static_cast<size_t>(line - text);
        common = static_cast<size_t>(line - text);
    }
    return 0;
}

// What follows the last newline does not count.
lines whole_lines(const char *text)
{
    const size_t length = std::strlen(text);
    const void *newline = memrchr(text, '\n', length);
    return {text, newline == nullptr ? text : static_cast<const char *>(newline) + 1};
}

void compare_texts(const char *old_text, const char *new_text, comparison &into)
{
    old_text = old_text == nullptr ? "" : old_text;
    new_text = new_text == nullptr ? "" : new_text;
    const size_t common = common_length(old_text, new_text);
    if (old_text[common] == '\0' && new_text[common] == '\0')
        return;
    const size_t equal = common_blocks(old_text, common);
    into.compare(whole_lines(old_text + equal), whole_lines(new_text + equal));
}

} // namespace

} // namespace kiv::diff

void kiv_diff(const char *old_text, const char *new_text) noexcept
{
    const kiv::diff::heap_text differences(kiv_diff_to_str(old_text, new_text));
    if (differences)
        std::fputs(differences.get(), stdout);
}

int kiv_is_diff_same(const char *old_text, const char *new_text) noexcept
try {
    kiv::diff::comparison comparison(true);
    kiv::diff::compare_texts(old_text, new_text, comparison);
    return comparison.differences().empty() ? 1 : 0;
} catch (const std::bad_alloc &) {
    errno = ENOMEM;
    return 0;
}

char *kiv_diff_to_str(const char *old_text, const char *new_text) noexcept
try {
    kiv::diff::comparison comparison(false);
    kiv::diff::compare_texts(old_text, new_text, comparison);
    return comparison.differences().release().release();
} catch (const std::bad_alloc &) {
    errno = ENOMEM;
    return nullptr;
}
