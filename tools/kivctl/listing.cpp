#include "listing.h"

#include <algorithm>

#include "report.h"
#include "support/characters.h"
#include "tree/json.h"

namespace kivctl {

namespace {

constexpr size_t gap = 2;

std::string shown(const cell &value)
{
    if (const auto *number = std::get_if<int64_t>(&value))
        return std::to_string(*number);
    return kiv::support::printable(std::get<std::string>(value));
}

std::string as_json(const cell &value)
{
    if (const auto *number = std::get_if<int64_t>(&value))
        return std::to_string(*number);
    return kiv::tree::json_string(std::get<std::string>(value));
}

void append_padded(std::string &line, std::string_view text, size_t width)
{
    line.append(text);
    line.append(width > text.size() ? width - text.size() : 0, ' ');
}

void end_line(std::string &line)
{
    line.erase(line.find_last_not_of(' ') + 1);
    line += '\n';
}

} // namespace

std::string listing::text() const
{
    std::vector<size_t> widths;
    for (const std::string &name : columns_)
        widths.push_back(name.size());
    for (const auto &row : rows_) {
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], shown(row[i]).size());
    }
    std::string all;
    const auto append_row = [&](const auto &cells, auto text_of) {
        std::string line;
        for (size_t i = 0; i < cells.size(); ++i)
            append_padded(line, text_of(cells[i]), widths[i] + gap);
        end_line(line);
        all += line;
    };
    append_row(columns_, [](const std::string &name) { return name; });
    for (const auto &row : rows_)
        append_row(row, shown);
    return all;
}

int listing::print(bool json) const
{
    if (!json)
        return kivctl::print(text());
    std::string all;
    for (const auto &row : rows_) {
        kiv::tree::json_object object;
        for (size_t i = 0; i < row.size(); ++i)
            object.add(columns_[i], as_json(row[i]));
        all.append(all.empty() ? "[" : ",\n ").append(object.text());
    }
    return kivctl::print(all.empty() ? "[]\n" : all + "]\n");
}

int summary::print(bool json) const
{
    kiv::tree::json_object object;
    std::string all;
    size_t width = 0;
    for (const auto &[name, value] : rows_)
        width = std::max(width, name.size());
    for (const auto &[name, value] : rows_) {
        object.add(name, as_json(value));
        std::string line;
        append_padded(line, name, width + gap);
        line += shown(value);
        end_line(line);
        all += line;
    }
    return kivctl::print(json ? object.text() + '\n' : all);
}

int report_change(bool json, std::string kind, std::string subject, std::string state)
{
    if (!json)
        return kivctl::print("");
    summary all;
    all.add(std::move(kind), std::move(subject));
    all.add("state", std::move(state));
    return all.print(true);
}

std::optional<int> read_json_option(int argc, char **argv, const char *usage, bool &json,
                                    option_place place)
{
    const char *short_ones = place == option_place::in_front ? "+" : "";
    return read_options(argc, argv, {short_ones, json_options, usage}, [&](int) {
        json = true;
        return std::string();
    });
}

std::optional<int> read_json_alone(int argc, char **argv, const char *usage, bool &json)
{
    if (const auto status = read_json_option(argc, argv, usage, json))
        return status;
    if (optind == argc)
        return {};
    return refuse_operands(usage, argv[0], operands_of(argc, argv), 0);
}

} // namespace kivctl
