// What tests look at: printed text, the bytes of a record, the text of a failed assertion.
#ifndef KIV_TESTS_OBSERVED_H
#define KIV_TESTS_OBSERVED_H

#include <string>

#include <gtest/gtest.h>

namespace kiv_tests {

template <typename Print>
std::string printed(const Print &print)
{
    testing::internal::CaptureStdout();
    print();
    return testing::internal::GetCapturedStdout();
}

template <typename Record>
std::string bytes_of(const Record &record)
{
    return {reinterpret_cast<const char *>(&record), sizeof record};
}

inline std::string failure(const std::string &source, const std::string &function,
                           const std::string &expression)
{
    return source + ":[0-9]+: [^(]*\\b" + function + "\\b.*Assertion `" + expression + "' failed";
}

} // namespace kiv_tests

#endif
