// What a program says of wrong usage, and when it is asked for help.
#ifndef KIV_TESTS_USAGE_H
#define KIV_TESTS_USAGE_H

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "switch_root.h"

namespace kiv_tests {

struct refused_case {
    std::string arguments;
    std::string error = "usage: kivctl"; // how it begins
};

inline void expect_refused(const std::string &program, const std::vector<refused_case> &cases)
{
    for (const refused_case &each : cases) {
        const switch_root::outcome refused = switch_root::run(program + each.arguments);
        EXPECT_EQ(refused.status, 2) << each.arguments;
        EXPECT_THAT(refused.error, testing::StartsWith(each.error)) << each.arguments;
        EXPECT_THAT(refused.error, testing::HasSubstr("usage: kivctl")) << each.arguments;
        EXPECT_EQ(refused.output, "") << each.arguments;
    }
}

inline void expect_help(const std::string &program, const std::vector<std::string> &commands)
{
    for (const std::string &command : commands) {
        const switch_root::outcome helped = switch_root::run(program + command + " --help");
        EXPECT_EQ(helped.status, 0) << command;
        EXPECT_THAT(helped.output, testing::StartsWith("usage: kivctl")) << command;
    }
}

} // namespace kiv_tests

#endif
