// Printing that can be caught in memory.

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <kiv/kiv_exec_lib.h>

namespace {

struct capture {
    int32_t redirected = 0;
    char *text = nullptr;
    int32_t length = 0;
    size_t capacity = 0; // 0 where the block came from the caller: nothing is known of its size
};

capture captured;

constexpr size_t smallest_capacity = 4096;
constexpr size_t usual_piece = 1024;

size_t used()
{
    return static_cast<size_t>(captured.length);
}

int refuse(int error)
{
    errno = error;
    return -1;
}

// NOLINTBEGIN(clang-analyzer-valist.Uninitialized): it loses sight of va_start where it reads
// several files in a row.

// What is printed may be the captured text itself, so its end stays where it is until all of the
// new text is there, behind it. Returns as vsnprintf (C11 7.21.6.12).
int format_behind(const char *format, va_list arguments)
{
    const size_t taken = used() + 1;
    if (captured.capacity <= taken)
        return std::vsnprintf(nullptr, 0, format, arguments);
    const size_t room = std::min(captured.capacity - taken, size_t{INT_MAX});
    return std::vsnprintf(captured.text + taken, room, format, arguments);
}

bool is_whole(size_t count)
{
    return captured.capacity >= used() + 1 + count + 1;
}

// The old block lives until the text that may be made from it is whole.
int format_in_larger_block(size_t count, const char *format, va_list arguments)
{
    const size_t capacity = std::max(smallest_capacity, 2 * (used() + 1 + count + 1));
    char *text = static_cast<char *>(std::malloc(capacity));
    if (text == nullptr)
        return refuse(ENOMEM);
    if (used() > 0)
        std::memcpy(text, captured.text, used());
    text[used()] = '\0';
    const int again = std::vsnprintf(text + used(), count + 1, format, arguments);
    if (again < 0 || static_cast<size_t>(again) != count) {
        std::free(text);
        return refuse(again < 0 ? errno : EINVAL);
    }
    std::free(captured.text);
    captured.text = text;
    captured.capacity = capacity;
    return again;
}

// Makes room for the next piece, if it is no longer than usual. It is done now because the block
// can move now: the next piece may be made from the text. Where memory is short, that piece will
// tell.
void provide_room()
{
    if (captured.capacity - used() > usual_piece)
        return;
    const size_t capacity = 2 * captured.capacity;
    if (void *text = std::realloc(captured.text, capacity); text != nullptr) {
        captured.text = static_cast<char *>(text);
        captured.capacity = capacity;
    }
}

// Moves the new text to where the end of the old one was. Most texts are short, and a block of
// fixed size needs no call.
void move_down(size_t size)
{
    std::array<char, 64> block;
    char *end = captured.text + used();
    if (size <= block.size() && used() + 1 + block.size() <= captured.capacity) {
        std::memcpy(block.data(), end + 1, block.size());
        std::memcpy(end, block.data(), block.size());
    } else {
        std::memmove(end, end + 1, size);
    }
}

int append(const char *format, va_list arguments)
{
    const int error = errno; // what %m prints
    va_list repeated;
    va_copy(repeated, arguments);
    int count = format_behind(format, arguments);
    if (count > INT_MAX - captured.length) {
        count = refuse(EOVERFLOW);
    } else if (count >= 0 && is_whole(static_cast<size_t>(count))) {
        move_down(static_cast<size_t>(count) + 1);
    } else if (count >= 0) {
        errno = error;
        count = format_in_larger_block(static_cast<size_t>(count), format, repeated);
    }
    va_end(repeated);
    if (count < 0)
        return count;
    captured.length += count;
    provide_room();
    return count;
}

} // namespace

void kiv_set_redir2buf() noexcept
{
    captured.redirected = 1;
}

void kiv_reset_redir2buf() noexcept
{
    captured = {};
}

int kiv_is_redir2buf() noexcept
{
    return captured.redirected;
}

char *kiv_get_buf() noexcept
{
    return captured.text;
}

int kiv_get_buf_len() noexcept
{
    return captured.length;
}

char *kiv_set_buf(char *buf, int len) noexcept
{
    if (buf != nullptr) {
        captured.text = buf;
        captured.length = std::max(len, 0);
        captured.capacity = 0;
    }
    return captured.text;
}

int kiv_buf_printf(const char *fmt, ...) noexcept
{
    va_list arguments;
    va_start(arguments, fmt);
    const int count =
        captured.redirected == 0 ? std::vfprintf(stdout, fmt, arguments) : append(fmt, arguments);
    va_end(arguments);
    return count;
}

// NOLINTEND(clang-analyzer-valist.Uninitialized)
