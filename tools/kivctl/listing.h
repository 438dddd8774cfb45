// Data for people, or as JSON.
#ifndef KIVCTL_LISTING_H
#define KIVCTL_LISTING_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "options.h"

namespace kivctl {

using cell = std::variant<std::string, int64_t>;

// Rows below a heading; in JSON, a list of objects.
class listing {
public:
    explicit listing(std::vector<std::string> columns) : columns_(std::move(columns)) {}

    // As many cells as there are columns.
    void add(std::vector<cell> row) { rows_.push_back(std::move(row)); }

    // Prints it and returns the exit status.
    int print(bool json) const;

private:
    std::string text() const;

    std::vector<std::string> columns_;
    std::vector<std::vector<cell>> rows_;
};

// Named values; in JSON, one object.
class summary {
public:
    void add(std::string name, cell value)
    {
        rows_.emplace_back(std::move(name), std::move(value));
    }
    int print(bool json) const;

private:
    std::vector<std::pair<std::string, cell>> rows_;
};

// Says in JSON what a job has done to what; it is silent otherwise.
int report_change(bool json, std::string kind, std::string subject, std::string state);

// The code of --json, and the options of jobs that have no other.
inline constexpr int json_code = first_own_code;
inline constexpr std::array json_options{option{"json", no_argument, nullptr, json_code},
                                         help_option, no_more_options};

// Reads --json, which may stand behind operands unless these are words of a command. Returns the
// exit status where that is the end.
enum class option_place { anywhere, in_front };
std::optional<int> read_json_option(int argc, char **argv, const char *usage, bool &json,
                                    option_place place = option_place::anywhere);

// The same for a job without operands.
std::optional<int> read_json_alone(int argc, char **argv, const char *usage, bool &json);

} // namespace kivctl

#endif
