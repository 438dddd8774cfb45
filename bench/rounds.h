// Measures contenders against each other, round by round: every round runs each contender once, in
// an order of its own, and gives one ratio; the medians of the ratios are what is reported, beside
// the medians of the times. Drift of the machine hits all contenders of a round alike, and what one
// leaves behind hits each.
#ifndef KIV_BENCH_ROUNDS_H
#define KIV_BENCH_ROUNDS_H

#include <algorithm>
#include <chrono>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace rounds {

struct contender {
    std::string name;
    std::function<void()> run;
};

inline double seconds_of(const std::function<void()> &run)
{
    const auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

inline double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

// A contender that tells its own time, in seconds.
struct timed {
    std::string name;
    std::function<double()> run;
};

// The first contender is the one that is measured, the second one the baseline of all ratios; what
// is measured alone has none.
inline void measure(benchmark::State &state, const std::vector<timed> &contenders)
{
    std::vector<std::vector<double>> ratios(contenders.size());
    std::vector<std::vector<double>> all_times(contenders.size());
    std::vector<double> times(contenders.size());
    const size_t baseline = contenders.size() > 1 ? 1 : 0;
    for (const timed &warm_up : contenders)
        warm_up.run();
    std::vector<size_t> order(contenders.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::mt19937 random; // NOLINT: the same orders in every run
    for ([[maybe_unused]] auto iteration : state) {
        std::ranges::shuffle(order, random);
        for (const size_t turn : order)
            times[turn] = contenders[turn].run();
        state.SetIterationTime(times[0]);
        for (size_t i = 0; i < contenders.size(); ++i) {
            ratios[i].push_back(times[i] / times[baseline]);
            all_times[i].push_back(times[i]);
        }
    }
    for (size_t i = 0; i < contenders.size(); ++i) {
        state.counters[contenders[i].name] = median(all_times[i]);
        if (i != baseline)
            state.counters[contenders[i].name + "/" + contenders[baseline].name] =
                median(ratios[i]);
    }
}

inline void measure(benchmark::State &state, const std::vector<contender> &contenders)
{
    std::vector<timed> timed_contenders;
    timed_contenders.reserve(contenders.size());
    for (const contender &each : contenders)
        timed_contenders.push_back({each.name, [run = each.run] { return seconds_of(run); }});
    measure(state, timed_contenders);
}

} // namespace rounds

#endif
