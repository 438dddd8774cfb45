// Both ways to compare two texts agree: the fast one and its rule, step by step.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <kiv/extras.h>
#include <kiv/kiv_exec_lib.h>

#include "../tests/diff_rule.h"

namespace {

constexpr size_t longest = 4096; // the rule is quadratic

// Texts end at the first NUL, which is where the second one begins.
void compare(const std::string &old_text, const std::string &new_text)
{
    const std::unique_ptr<char, decltype(&std::free)> listing(
        kiv_diff_to_str(old_text.c_str(), new_text.c_str()), std::free);
    const std::string expected = diff_rule::difference(old_text, new_text);
    if (listing == nullptr || listing.get() != expected ||
        kiv_is_diff_same(old_text.c_str(), new_text.c_str()) != (expected.empty() ? 1 : 0)) {
        std::fprintf(stderr, "expected:\n%sfound:\n%s", expected.c_str(),
                     listing ? listing.get() : "(no memory)\n");
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string input(reinterpret_cast<const char *>(data), std::min(size, longest));
    const std::string old_text = input.c_str();
    const std::string rest = input.substr(std::min(old_text.size() + 1, input.size()));
    compare(old_text, rest.c_str());
    return 0;
}
