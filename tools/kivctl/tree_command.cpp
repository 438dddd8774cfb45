// kivctl tree: parse-tree files.

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <getopt.h>
#include <sys/stat.h>

#include <kiv/extras.h>

#include "commands.h"
#include "grammar/compile.h"
#include "grammar/listing.h"
#include "report.h"
#include "support/files.h"
#include "support/tree_fault.h"
#include "support/unique_fd.h"

namespace kivctl {

namespace {

constexpr const char *usage =
    "usage: kivctl tree compile GRAMMAR -o FILE.par\n"
    "       kivctl tree check FILE.par\n"
    "       kivctl tree dump FILE.par\n"
    "\n"
    "  compile   make a parse-tree file from a grammar text; \"-\" is standard input\n"
    "  check     tell whether a parse-tree file is sound, or what is wrong with it\n"
    "  dump      list the nodes of a parse-tree file\n"
    "\n"
    "  -o, --output FILE.par   the file to make; it is left alone where the grammar has errors\n"
    "\n"
    "Errors of a grammar are reported as GRAMMAR:LINE: TEXT.\n";

// Far beyond real grammars; an input without end is given up here.
constexpr size_t longest_grammar = size_t{64} << 20;

// One node more than is allowed, so that the check can say so.
constexpr size_t longest_tree = (KIV_TREE_MAX_NODES + 1) * sizeof(kiv_array_tree_node);

// A file, or standard input for "-". It is read, not mapped, so that a pipe will do and a file
// that shrinks meanwhile does no harm. Returns 0 or an errno value.
int read_file(const char *path, size_t limit, std::string &content)
{
    if (std::string_view(path) == "-")
        return kiv::support::read_all(STDIN_FILENO, limit, content);
    const kiv::support::unique_fd file(open(path, O_RDONLY | O_CLOEXEC));
    return file ? kiv::support::read_all(file.get(), limit, content) : errno;
}

std::string_view bytes_of(const std::vector<kiv_array_tree_node> &nodes)
{
    return {reinterpret_cast<const char *>(nodes.data()), nodes.size() * sizeof nodes[0]};
}

std::string node_count_text(size_t count)
{
    return std::to_string(count) + (count == 1 ? " node" : " nodes");
}

void report_errors(const char *source, const std::vector<kiv::grammar::diagnostic> &errors)
{
    std::string report;
    for (const kiv::grammar::diagnostic &error : errors)
        report.append(source).append(":" + std::to_string(error.line) + ": " + error.text + '\n');
    std::fputs(report.c_str(), stderr);
}

// Whether the tree would take the place of its grammar.
bool are_one_file(const char *source, const char *output)
{
    struct stat grammar;
    struct stat tree;
    const int found =
        std::string_view(source) == "-" ? fstat(STDIN_FILENO, &grammar) : stat(source, &grammar);
    return found == 0 && S_ISREG(grammar.st_mode) && stat(output, &tree) == 0 &&
           grammar.st_dev == tree.st_dev && grammar.st_ino == tree.st_ino;
}

int compile(const char *source, const char *output)
{
    if (are_one_file(source, output))
        return fail(output, "is the grammar itself");
    std::string text;
    if (const int error = read_file(source, longest_grammar, text); error != 0)
        return fail(source, std::strerror(error));
    const kiv::grammar::result compiled = kiv::grammar::compile(text);
    report_errors(source, compiled.errors);
    if (!compiled.errors.empty())
        return failed;
    if (const int error = kiv::support::replace_file(output, bytes_of(compiled.nodes)); error != 0)
        return fail(output, std::strerror(error));
    return print(std::string(output) + ": " + node_count_text(compiled.nodes.size()) + '\n');
}

// What is wrong with the tree; empty where it is sound.
std::string fault_of(const char *path, std::string_view tree)
{
    kiv_tree_check_result found;
    if (kiv_tree_check(tree.data(), tree.size(), &found) == 0)
        return {};
    return std::string(path) + ": " + kiv::support::tree_fault(found) + '\n';
}

int check(const char *path, const std::string &tree)
{
    if (const std::string fault = fault_of(path, tree); !fault.empty()) {
        print(fault);
        return failed;
    }
    const size_t count = tree.size() / sizeof(kiv_array_tree_node);
    return print(std::string(path) + ": sound, " + node_count_text(count) + '\n');
}

int dump(const char *path, const std::string &tree)
{
    if (const std::string fault = fault_of(path, tree); !fault.empty()) {
        std::fputs(fault.c_str(), stderr);
        return failed;
    }
    const auto *nodes = reinterpret_cast<const kiv_array_tree_node *>(tree.data());
    return print(kiv::grammar::list_nodes({nodes, tree.size() / sizeof *nodes}));
}

template <int Job(const char *path, const std::string &tree)>
int with_tree(const char *path, const char *)
{
    std::string tree;
    if (const int error = read_file(path, longest_tree, tree); error != 0)
        return fail(path, std::strerror(error));
    return Job(path, tree);
}

struct tree_job {
    std::string_view name;
    bool makes_file;
    int (*run)(const char *path, const char *output);
};

constexpr std::array jobs{
    tree_job{"compile", true, compile},
    tree_job{"check", false, with_tree<check>},
    tree_job{"dump", false, with_tree<dump>},
};

constexpr std::array long_options{
    option{"output", required_argument, nullptr, 'o'},
    option{"help", no_argument, nullptr, 'h'},
    option{nullptr, 0, nullptr, 0},
};

int run_job(const tree_job &job, int argc, char **argv)
{
    const char *output = nullptr;
    for (int code; (code = getopt_long(argc, argv, "ho:", long_options.data(), nullptr)) != -1;) {
        if (code == 'h')
            return show_usage(usage);
        if (code != 'o' || output != nullptr)
            return refuse_usage(usage);
        output = optarg;
    }
    if (optind + 1 != argc || job.makes_file != (output != nullptr))
        return refuse_usage(usage);
    return job.run(argv[optind], output);
}

} // namespace

int tree_command(int argc, char **argv)
{
    const std::string_view name = argc > 1 ? argv[1] : "";
    if (name == "--help" || name == "-h")
        return show_usage(usage);
    const auto *job = std::ranges::find(jobs, name, &tree_job::name);
    if (job == jobs.end())
        return refuse_usage(usage);
    return run_word(argc, argv,
                    [job](int count, char **words) { return run_job(*job, count, words); });
}

} // namespace kivctl
