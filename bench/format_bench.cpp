// World wide names and longer values as hexadecimal text, beside a formatter with one snprintf for
// each byte.

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <kiv/kiv_lib.h>

#include "rounds.h"

namespace {

char *snprintf_per_byte(const void *bytes, int32_t length)
{
    const auto *values = static_cast<const uint8_t *>(bytes);
    std::array<char, 1024> buffer{"0x"};
    size_t end = 2;
    for (int32_t i = 0; i < length; ++i)
        end += static_cast<size_t>(
            std::snprintf(buffer.data() + end, buffer.size() - end, "%02hhx", values[i]));
    char *text = static_cast<char *>(std::malloc(end + 1));
    if (text != nullptr)
        std::memcpy(text, buffer.data(), end + 1);
    return text;
}

void format_hex(benchmark::State &state)
{
    constexpr size_t count = 20000;
    const auto size = static_cast<size_t>(state.range(0));
    std::vector<uint8_t> values(count * size);
    for (size_t i = 0; i < values.size(); ++i)
        values[i] = static_cast<uint8_t>(i * 31);
    const auto format_all = [&](char *(*to_str)(const void *, int32_t)) {
        for (size_t i = 0; i < count; ++i) {
            char *text = to_str(&values[i * size], static_cast<int32_t>(size));
            benchmark::DoNotOptimize(text);
            std::free(text);
        }
    };
    rounds::measure(state, {{"print_hex_to_str",
                             [&] {
                                 format_all([](const void *bytes, int32_t length) {
                                     return print_hex_to_str(bytes, length);
                                 });
                             }},
                            {"snprintf_per_byte", [&] { format_all(snprintf_per_byte); }}});
}

BENCHMARK(format_hex)
    ->Name("format/hex/bytes")
    ->Arg(8)
    ->Arg(500)
    ->Iterations(100)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
