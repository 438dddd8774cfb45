// The comparison of two configurations beside one pass over both; and as a program, beside the
// comparisons of lines that a system has.

#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <kiv/extras.h>
#include <kiv/kiv_exec_lib.h>

#include "rounds.h"

namespace {

using text_lines = std::vector<std::string>;

// Blocks as a switch has them for its interfaces and zones.
text_lines configuration(size_t size)
{
    static constexpr std::array templates{
        "interface fc%zu/%zu",
        "  switchport description host-%zu port-%zu",
        "  switchport mode F",
        "  no shutdown",
        "vsan %zu name production-%zu",
        "zone name zone-%zu-%zu vsan 10",
        "  member pwwn 50:06:01:60:%02zx:e0:%02zx:7b",
        "    attribute read-only",
        "  member fcid 0x%02zx00%02zx",
        "fcdomain domain %zu static vsan %zu",
    };
    constexpr size_t slots = 48;
    text_lines lines;
    for (size_t i = 0; i < size; ++i) {
        const size_t block = i / templates.size();
        char line[128];
        std::snprintf(line, sizeof line, templates[i % templates.size()], // NOLINT: from the table
                      block / slots, block % slots);
        lines.emplace_back(line);
    }
    return lines;
}

text_lines flat(size_t size)
{
    text_lines lines;
    for (size_t i = 0; i < size; ++i)
        lines.push_back("fcroute 0x" + std::to_string(100000 + i) + " interface fc1/" +
                        std::to_string(i % 48) + " domain " + std::to_string(i * 7919 % 239));
    return lines;
}

std::string joined(const text_lines &lines)
{
    std::string text;
    for (const std::string &line : lines)
        text.append(line).append("\n");
    return text;
}

// Changes, inserts and takes out one line in a hundred.
text_lines edited(const text_lines &lines)
{
    std::mt19937 random; // NOLINT: the same edits in every run
    text_lines result;
    for (const std::string &line : lines) {
        const auto lot = random() % 300;
        if (lot == 0)
            result.push_back(line + " changed");
        else if (lot == 1)
            result.insert(result.end(), {line, line + " inserted"});
        else if (lot != 2)
            result.push_back(line);
    }
    return result;
}

text_lines shuffled(text_lines lines)
{
    std::mt19937 random; // NOLINT: the same order in every run
    std::ranges::shuffle(lines, random);
    return lines;
}

void pass_over(const std::string &text)
{
    const char *end = text.data() + text.size();
    size_t count = 0;
    for (const char *line = text.data(); line != end; ++count)
        line =
            static_cast<const char *>(std::memchr(line, '\n', static_cast<size_t>(end - line))) + 1;
    benchmark::DoNotOptimize(count);
}

void list_differences(const std::string &old_text, const std::string &new_text)
{
    std::free(kiv_diff_to_str(old_text.c_str(), new_text.c_str()));
}

void diff_texts(benchmark::State &state, const text_lines &lines)
{
    const std::string old_text = joined(lines);
    const std::string new_text = joined(edited(lines));
    rounds::measure(state, {{"kiv_diff_to_str", [&] { list_differences(old_text, new_text); }},
                            {"memchr_pass", [&] {
                                 pass_over(old_text);
                                 pass_over(new_text);
                             }}});
}

void diff_configurations(benchmark::State &state)
{
    diff_texts(state, configuration(static_cast<size_t>(state.range(0))));
}

void diff_flat(benchmark::State &state)
{
    diff_texts(state, flat(static_cast<size_t>(state.range(0))));
}

void diff_equal(benchmark::State &state)
{
    const std::string old_text = joined(configuration(static_cast<size_t>(state.range(0))));
    const std::string new_text = old_text;
    rounds::measure(
        state,
        {{"kiv_is_diff_same",
          [&] { benchmark::DoNotOptimize(kiv_is_diff_same(old_text.c_str(), new_text.c_str())); }},
         {"memcmp", [&] {
              benchmark::DoNotOptimize(
                  std::memcmp(old_text.data(), new_text.data(), old_text.size()));
          }}});
}

// A file with a text, for as long as the object lives.
class text_file {
public:
    explicit text_file(const std::string &text)
    {
        const int descriptor = mkstemp(name_.data());
        if (descriptor < 0)
            std::abort();
        close(descriptor);
        std::ofstream(name_) << text;
    }
    ~text_file() { unlink(name_.c_str()); }
    text_file(const text_file &) = delete;
    text_file &operator=(const text_file &) = delete;

    const char *name() const { return name_.c_str(); }

private:
    std::string name_ = std::filesystem::temp_directory_path() / "diff_bench.XXXXXX";
};

// Runs a program with its output thrown away, and returns its exit status; 127 where there is none.
int run(std::vector<const char *> words)
{
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = -1;
    const int error = posix_spawnp(&child, words[0], &actions, nullptr,
                                   const_cast<char **>(words.data()), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (error != 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return 127;
    return WEXITSTATUS(status);
}

// Kivctl beside whichever of the others there is.
void compare_files(benchmark::State &state, const text_lines &olds, const text_lines &news,
                   const std::vector<std::vector<const char *>> &others)
{
    const text_file old_file(joined(olds));
    const text_file new_file(joined(news));
    std::vector<rounds::contender> contenders;
    const auto add = [&](std::vector<const char *> words) {
        const std::string name = words[0] == std::string(KIVCTL_PATH) ? "kivctl" : words[0];
        words.insert(words.end(), {old_file.name(), new_file.name()});
        if (run(words) != 1)
            return;
        contenders.push_back({name, [words] {
                                  if (run(words) != 1)
                                      std::abort();
                              }});
    };
    add({KIVCTL_PATH, "config", "diff"});
    for (const std::vector<const char *> &other : others)
        add(other);
    if (contenders.size() < 2)
        state.SkipWithError("nothing to compare with");
    else
        rounds::measure(state, contenders);
}

const std::vector<const char *> line_diff{"diff", "-u"};
const std::vector<const char *> repository_diff{"git", "diff", "--no-index", "--no-color"};

void diff_files(benchmark::State &state)
{
    const text_lines lines = configuration(static_cast<size_t>(state.range(0)));
    compare_files(state, lines, edited(lines), {line_diff, repository_diff});
}

void diff_shuffled_files(benchmark::State &state)
{
    const text_lines lines = flat(static_cast<size_t>(state.range(0)));
    text_lines other = shuffled(lines);
    other.back() += " changed";
    compare_files(state, lines, other, {repository_diff});
}

BENCHMARK(diff_configurations)
    ->Name("diff/configuration/lines")
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK(diff_flat)
    ->Name("diff/flat/lines")
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK(diff_equal)
    ->Name("diff/equal/lines")
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK(diff_files)
    ->Name("diff/process/lines")
    ->Arg(100000)
    ->Arg(1000000)
    ->Iterations(10)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK(diff_shuffled_files)
    ->Name("diff/process/shuffled")
    ->Arg(100000)
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
