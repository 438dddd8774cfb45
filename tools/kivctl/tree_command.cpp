// kivctl tree: parse-tree files.

#include <algorithm>
#include <array>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <getopt.h>

#include "commands.h"
#include "report.h"
#include "tree_jobs.h"

namespace kivctl {

namespace {

struct tree_job {
    std::string_view name;
    std::string_view operands;
    std::string_view summary;
    std::string_view options; // the codes of those that it takes
    std::string_view details;
    int (*run)(const tree_request &request);
    size_t least_files = 1;
    size_t most_files = 1;
    bool needs_output = false;
};

constexpr size_t any_number = std::numeric_limits<size_t>::max();

constexpr std::array jobs{
    tree_job{
        "compile", "GRAMMAR -o FILE.par", "make a parse-tree file from a grammar text", "o",
        "Errors of the grammar are reported as GRAMMAR:LINE: TEXT.\n"
        "\n"
        "  -o, --output FILE.par   the file to make; it is left alone where there are errors\n",
        compile_tree, 1, 1, true},
    tree_job{"check", "[--json] FILE.par", "tell whether a tree is sound, or what is wrong with it",
             "j",
             "Exit status 0 for a sound tree, 1 for one with a fault.\n"
             "\n"
             "  --json   one JSON object: file, sound, and nodes or node and fault\n",
             check_tree},
    tree_job{
        "dump", "FILE.par", "print every field, in the library's form", "",
        "The form is that of display_array_tree (kiv/common.h). A node that several nodes own\n"
        "is printed below each of them; a tree whose dump would have over 12 million lines for\n"
        "that is refused.\n",
        dump_tree},
    tree_job{
        "show", "[--json|--grammar] FILE.par", "print the commands as a person reads them", "jg",
        "Three columns: keywords and <arguments>, the command that ends there, the help. Links\n"
        "are shown as -> [NAME], or [#NODE] for a node without a name.\n"
        "\n"
        "  --json      nested JSON objects, with what a grammar would say\n"
        "  --grammar   the grammar text that compiles to exactly this file\n",
        show_tree},
    tree_job{
        "graph", "[--svg] [-o FILE] FILE.par", "draw the tree", "so",
        "Prints the tree in the language of Graphviz: boxes are commands, double lines enter a\n"
        "sub-mode, dashed edges are links.\n"
        "\n"
        "  --svg               have dot (package graphviz) make a picture of it\n"
        "  -o, --output FILE   write to this file\n",
        graph_tree},
    tree_job{"stats", "[--json] FILE.par", "count what is in a tree", "j",
             "  --json   one JSON object\n", measure_tree},
    tree_job{"merge", "FILE.par... -o FILE.par", "make one tree of several, as the daemon does",
             "o",
             "A tree that contradicts those before it is reported, and nothing is made.\n"
             "\n"
             "  -o, --output FILE.par   the file to make\n",
             merge_trees, 1, any_number, true},
    tree_job{"publish", "[--directory DIR] FILE.par", "have shells use the tree from now on", "d",
             "Prints the name of the file that the tree is in.\n"
             "\n"
             "  -d, --directory DIR   where it goes; /ubex/etc/par without this\n",
             publish_tree},
    tree_job{"zip", "", "compress the default tree", "",
             "The default tree is /ubex/etc/par/default/main_tree.par.\n", zip_tree, 0, 0},
    tree_job{"unzip", "", "expand the default tree, unless that is done already", "",
             "The default tree is /ubex/etc/par/default/main_tree.par.\n", unzip_tree, 0, 0},
};

constexpr std::array known_options{
    option{"output", required_argument, nullptr, 'o'},
    option{"directory", required_argument, nullptr, 'd'},
    option{"json", no_argument, nullptr, 'j'},
    option{"grammar", no_argument, nullptr, 'g'},
    option{"svg", no_argument, nullptr, 's'},
};

std::string synopsis(const tree_job &job)
{
    return ("kivctl tree " + std::string(job.name))
               .append(job.operands.empty() ? "" : " ")
               .append(job.operands) +
           '\n';
}

std::string usage()
{
    std::string text;
    for (const tree_job &job : jobs)
        text += (text.empty() ? "usage: " : "       ") + synopsis(job);
    text += '\n';
    for (const tree_job &job : jobs) {
        std::string name(job.name);
        name.resize(10, ' ');
        text.append("  ").append(name).append(job.summary).append("\n");
    }
    return text + "\nThe GRAMMAR or FILE.par to read may be \"-\" for standard input. kivctl tree "
                  "JOB --help\n"
                  "tells more.\n";
}

std::string usage(const tree_job &job)
{
    return "usage: " + synopsis(job) + '\n' + std::string(job.details);
}

// getopt's own words for the options of one job.
class job_options {
public:
    explicit job_options(const tree_job &job)
    {
        for (const option &each : known_options) {
            if (job.options.find(static_cast<char>(each.val)) == std::string_view::npos)
                continue;
            long_.push_back(each);
            if (each.has_arg == required_argument)
                (short_ += static_cast<char>(each.val)) += ':';
        }
        long_.push_back({"help", no_argument, nullptr, 'h'});
        long_.push_back({nullptr, 0, nullptr, 0});
    }

    int next(int argc, char **argv) const
    {
        return getopt_long(argc, argv, short_.c_str(), long_.data(), nullptr);
    }

private:
    std::string short_;
    std::vector<option> long_;
};

// Takes an option; false for one that is unknown or does not go with those before.
bool take_option(tree_request &request, int code)
{
    const auto take_text = [](const char *&to) {
        const bool first = to == nullptr;
        to = optarg;
        return first;
    };
    switch (code) {
    case 'o':
        return take_text(request.output);
    case 'd':
        return take_text(request.directory);
    case 'j':
        request.json = true;
        return !request.grammar;
    case 'g':
        request.grammar = true;
        return !request.json;
    case 's':
        request.svg = true;
        return true;
    default:
        return false;
    }
}

int run_job(const tree_job &job, int argc, char **argv)
{
    const job_options options(job);
    tree_request request;
    for (int code; (code = options.next(argc, argv)) != -1;) {
        if (code == 'h')
            return show_usage(usage(job).c_str());
        if (!take_option(request, code))
            return refuse_usage(usage(job).c_str());
    }
    const auto files = static_cast<size_t>(argc - optind);
    request.file = argv[optind];
    request.files = {argv + optind, files};
    if (files < job.least_files || files > job.most_files)
        return refuse_operands(usage(job).c_str(), argv[0], request.files, job.most_files);
    if (job.needs_output && request.output == nullptr)
        return refuse_usage(usage(job).c_str(), argv[0], "no --output");
    return job.run(request);
}

} // namespace

int tree_command(int argc, char **argv)
{
    const std::string_view name = argc > 1 ? argv[1] : "";
    if (name == "--help")
        return show_usage(usage().c_str());
    const auto *job = std::ranges::find(jobs, name, &tree_job::name);
    if (job == jobs.end())
        return refuse_job(usage().c_str(), argc, argv);
    return run_word(argc, argv,
                    [job](int count, char **words) { return run_job(*job, count, words); });
}

} // namespace kivctl
