#include "diff_command.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <getopt.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <kiv/extras.h>

#include "commands.h"
#include "options.h"
#include "report.h"
#include "support/files.h"
#include "support/unique_fd.h"

namespace kivctl {

namespace {

enum diff_exit_code { same = 0, different = 1, trouble = 2 };

constexpr const char *diff_usage =
    "usage: kivctl config diff [--color[=WHEN]] OLD NEW\n"
    "\n"
    "Compares two configuration files; one of them may be \"-\" for standard input. Prints what "
    "OLD\n"
    "has more behind a '-' and what NEW has more behind a '+', below the lines that it stands "
    "under.\n"
    "\n"
    "  --color[=WHEN]   red and green: always, never, or auto (the default), which is on a "
    "terminal\n"
    "\n"
    "Exit status: 0 no difference, 1 differences, 2 trouble or wrong usage.\n";

struct heap_free {
    void operator()(char *text) const { std::free(text); }
};
using heap_text = std::unique_ptr<char, heap_free>;

int say_trouble(std::string_view subject, std::string_view problem)
{
    fail(subject, problem);
    return trouble;
}

// A file as a string. It is read, not mapped: files of users are written in place, and a comparison
// must not see them change.
class text_file {
public:
    // Returns 0, or an errno value.
    int read(const char *path)
    {
        kiv::support::unique_fd file;
        int descriptor = STDIN_FILENO;
        if (std::string_view(path) != "-") {
            file = kiv::support::unique_fd(open(path, O_RDONLY | O_CLOEXEC));
            descriptor = file.get();
        }
        struct stat status;
        if (descriptor < 0 || fstat(descriptor, &status) != 0)
            return errno;
        // One byte more shows the end of the file without another round, and one is for the NUL.
        const bool has_size = S_ISREG(status.st_mode) && status.st_size > 0;
        const uintmax_t expected = has_size ? static_cast<uintmax_t>(status.st_size) : 0;
        if (expected > longest)
            return EFBIG;
        return read_all(descriptor, std::max(smallest, static_cast<size_t>(expected) + 2));
    }

    const char *text() const { return text_.get(); }
    bool holds_nul() const { return holds_nul_; }

private:
    static constexpr size_t smallest = size_t{64} << 10;
    static constexpr size_t largest_part = size_t{256} << 10;
    static constexpr size_t large_page = size_t{2} << 20;
    static constexpr size_t longest = size_t{1} << 30;

    int read_all(int descriptor, size_t capacity)
    {
        for (;; capacity *= 2) {
            resize(capacity);
            while (length_ + 1 < capacity) {
                const ssize_t count = read_part(descriptor, capacity - 1 - length_);
                if (count < 0)
                    return errno;
                if (count == 0)
                    return end_text();
            }
            if (length_ > longest)
                return EFBIG;
        }
    }

    // Parts are looked through while the processor still has them at hand.
    ssize_t read_part(int descriptor, size_t room)
    {
        char *to = text_.get() + length_;
        const ssize_t count = kiv::support::read_some(descriptor, to, std::min(room, largest_part));
        if (count > 0) {
            holds_nul_ |= std::memchr(to, '\0', static_cast<size_t>(count)) != nullptr;
            length_ += static_cast<size_t>(count);
        }
        return count;
    }

    // A large file goes into large pages, where the system has them: that many small ones take
    // longer than the comparison.
    static void *allocate(size_t capacity)
    {
        const size_t size = (capacity + large_page - 1) / large_page * large_page;
        void *block = std::aligned_alloc(large_page, size);
        if (block != nullptr)
            madvise(block, size, MADV_HUGEPAGE);
        return block;
    }

    void resize(size_t capacity)
    {
        void *larger = !text_ && capacity >= large_page ? allocate(capacity)
                                                        : std::realloc(text_.get(), capacity);
        if (larger == nullptr)
            throw std::bad_alloc();
        static_cast<void>(text_.release());
        text_.reset(static_cast<char *>(larger));
    }

    // The library takes no line without its end; here such a last line counts like the others.
    int end_text()
    {
        if (length_ > 0 && text_.get()[length_ - 1] != '\n')
            text_.get()[length_++] = '\n';
        text_.get()[length_] = '\0';
        return 0;
    }

    heap_text text_;
    size_t length_ = 0;
    bool holds_nul_ = false;
};

int read_text(text_file &file, const char *path)
{
    const std::string_view name = std::string_view(path) == "-" ? "standard input" : path;
    if (const int error = file.read(path); error != 0)
        return say_trouble(name, std::strerror(error));
    return file.holds_nul() ? say_trouble(name, "holds a NUL byte") : 0;
}

// The mark stands behind the margin of each line.
std::string in_color(std::string_view differences)
{
    constexpr std::string_view red = "\033[31m";
    constexpr std::string_view green = "\033[32m";
    constexpr std::string_view reset = "\033[m";
    constexpr size_t mark = 4;
    std::string colored;
    while (!differences.empty()) {
        const std::string_view line = differences.substr(0, differences.find('\n'));
        const std::string_view color = line[mark] == '-' ? red : line[mark] == '+' ? green : "";
        colored.append(color).append(line).append(color.empty() ? "" : reset).append("\n");
        differences.remove_prefix(line.size() + 1);
    }
    return colored;
}

int compare(const char *old_path, const char *new_path, bool color)
{
    text_file olds;
    text_file news;
    if (read_text(olds, old_path) != 0 || read_text(news, new_path) != 0)
        return trouble;
    const heap_text differences(kiv_diff_to_str(olds.text(), news.text()));
    if (!differences)
        return say_trouble("not compared", std::strerror(errno));
    const std::string_view text = differences.get();
    if (text.empty())
        return same;
    return print(color ? in_color(text) : text) == done ? different : trouble;
}

// Takes the word of --color, null for none; false for one that is unknown.
bool read_color(const char *when, bool &color)
{
    const std::string_view word = when == nullptr ? "always" : when;
    color = word == "always" || (word == "auto" && isatty(STDOUT_FILENO) == 1);
    return word == "always" || word == "auto" || word == "never";
}

} // namespace

int diff_config(int argc, char **argv)
try {
    constexpr std::array options{option{"color", optional_argument, nullptr, 'c'},
                                 option{"help", no_argument, nullptr, 'h'},
                                 option{nullptr, 0, nullptr, 0}};
    bool color = isatty(STDOUT_FILENO) == 1;
    for (int code; (code = getopt_long(argc, argv, "", options.data(), nullptr)) != -1;) {
        if (code == 'h')
            return show_usage(diff_usage) == done ? same : trouble;
        if (code != 'c')
            return refuse_usage(diff_usage);
        if (!read_color(optarg, color))
            return refuse_usage(diff_usage, argv[0], "--color takes always, never or auto");
    }
    if (argc - optind != 2)
        return refuse_operands(diff_usage, argv[0], operands_of(argc, argv), 2);
    const std::string_view old_path = argv[optind];
    if (old_path == "-" && old_path == argv[optind + 1])
        return refuse_usage(diff_usage, argv[0], "standard input can be only one of the files");
    return compare(argv[optind], argv[optind + 1], color);
} catch (const std::bad_alloc &) {
    return say_trouble("not compared", std::strerror(ENOMEM));
}

} // namespace kivctl
