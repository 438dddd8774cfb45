#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "commands.h"
#include "grammar/compile.h"
#include "report.h"
#include "support/mapped_file.h"
#include "tree_files.h"
#include "tree_jobs.h"

namespace kivctl {

namespace {

std::string_view bytes_of(const std::vector<kiv_array_tree_node> &nodes)
{
    return {reinterpret_cast<const char *>(nodes.data()), nodes.size() * sizeof nodes[0]};
}

void report_errors(const char *source, const std::vector<kiv::grammar::diagnostic> &errors)
{
    std::string report;
    for (const kiv::grammar::diagnostic &error : errors)
        report.append(source).append(":" + std::to_string(error.line) + ": " + error.text + '\n');
    std::fputs(report.c_str(), stderr);
}

} // namespace

int compile_tree(const tree_request &request)
{
    if (are_one_file(request.file, request.output))
        return fail(request.output, "is the grammar itself");
    kiv::support::mapped_file grammar;
    if (const int error = grammar.open(request.file, kiv::grammar::longest_text); error != 0)
        return fail(request.file, std::strerror(error));
    const kiv::grammar::result compiled = kiv::grammar::compile(grammar.bytes());
    report_errors(request.file, compiled.errors);
    if (!compiled.errors.empty())
        return failed;
    const int delivered =
        deliver(bytes_of(compiled.nodes), request.output, request.file, "grammar");
    return delivered != done ? delivered
                             : print(std::string(request.output) + ": " +
                                     node_count_text(compiled.nodes.size()) + '\n');
}

} // namespace kivctl
