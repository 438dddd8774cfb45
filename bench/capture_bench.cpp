// Capturing 10 MB in pieces of 40 bytes beside the formatting alone.

#include <cstdio>
#include <cstdlib>

#include <kiv/kiv_exec_lib.h>

#include "rounds.h"

namespace {

constexpr int pieces = 250'000;
constexpr const char *format = "interface fc%d/%d, a line of the text %04d\n";

void capture()
{
    kiv_set_redir2buf();
    for (int i = 0; i < pieces; ++i)
        kiv_buf_printf(format, i % 9, i % 7, i % 10'000);
    benchmark::DoNotOptimize(kiv_get_buf());
    std::free(kiv_get_buf());
    kiv_reset_redir2buf();
}

void format_alone()
{
    char text[64];
    for (int i = 0; i < pieces; ++i) {
        std::snprintf(text, sizeof text, format, i % 9, i % 7, i % 10'000);
        benchmark::DoNotOptimize(text);
    }
}

void capture_pieces(benchmark::State &state)
{
    rounds::measure(state, {{"kiv_buf_printf", capture}, {"snprintf", format_alone}});
}

BENCHMARK(capture_pieces)
    ->Name("capture/10_MB")
    ->Iterations(30)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
