// SPDX-License-Identifier: Apache-2.0
/// Measures and reports ratios to a yardstick that is timed in the same process.
#pragma once

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <chrono>
#include <vector>

namespace Norvane::Bench {

template <class Work>
[[nodiscard]] double seconds_of(Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

template <class Work>
[[nodiscard]] double median_seconds(Work work, int runs = 9) {
    work();  // touches memory and fills caches once
    std::vector<double> seconds;
    for (int i = 0; i < runs; ++i) seconds.push_back(seconds_of(work));
    std::ranges::nth_element(seconds, seconds.begin() + runs / 2);
    return seconds[static_cast<std::size_t>(runs / 2)];
}

/// The limits of a row in the table: the largest ratio that is allowed, and the ratio to aim for.
struct Target {
    double at_most, aim;
};

/// Reports milliseconds, the ratio to the yardstick and the target. `name` says what the yardstick is.
inline void report(benchmark::State& state, const char* name, double our_seconds, double yardstick_seconds,
                   Target target) {
    state.counters[name] = our_seconds / yardstick_seconds;
    state.counters["ours_ms"] = our_seconds * 1e3;
    state.counters["yardstick_ms"] = yardstick_seconds * 1e3;
    state.counters["at_most"] = target.at_most;
    state.counters["aim"] = target.aim;
}

/// Times `work` and its yardstick alternately, so that both see the same machine, and reports the medians. `prepare`
/// runs before each run of `work` and is not timed.
template <class Prepare, class Work, class Yardstick>
void compare(benchmark::State& state, const char* name, Target target, Prepare prepare, Work work,
             Yardstick yardstick) {
    cv::setNumThreads(1);
    constexpr int kRuns = 9;
    std::vector<double> ours, theirs;
    prepare();
    work();
    yardstick();
    for (auto _ : state) {
        for (int i = 0; i < kRuns; ++i) {
            prepare();
            ours.push_back(seconds_of(work));
            theirs.push_back(seconds_of(yardstick));
        }
        const auto median = [](std::vector<double>& v) {
            std::ranges::nth_element(v, v.begin() + static_cast<std::ptrdiff_t>(v.size() / 2));
            return v[v.size() / 2];
        };
        const double our_median = median(ours);
        state.SetIterationTime(our_median);
        report(state, name, our_median, median(theirs), target);
    }
}

}  // namespace Norvane::Bench
