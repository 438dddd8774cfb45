// Output that is compared with a file which holds it as it should be, the same on every host. With
// KIV_UPDATE_GOLDEN in the environment the files are written instead.
#ifndef KIV_TESTS_GOLDEN_H
#define KIV_TESTS_GOLDEN_H

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace golden {

inline std::string content_of(const std::string &path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

inline void expect(const std::string &path, const std::string &text)
{
    if (std::getenv("KIV_UPDATE_GOLDEN") != nullptr)
        std::ofstream(path, std::ios::binary) << text;
    EXPECT_EQ(text, content_of(path)) << path;
}

inline size_t occurrences(const std::string &text, const std::string &part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

} // namespace golden

#endif
