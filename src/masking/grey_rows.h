// SPDX-License-Identifier: Apache-2.0
/// What the frame search asks of runs of grey pixels. Plain loops over one run each, which the compiler vectorises.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

namespace Norvane {

/// 0 for an empty run.
[[nodiscard]] inline std::uint16_t largest_of(std::span<const std::uint16_t> pixels) {
    std::uint16_t largest = 0;
    for (const std::uint16_t v : pixels) largest = std::max(largest, v);
    return largest;
}

/// Count, mean and population variance of pixels, from exact sums.
class GreyStatistics {
public:
    void add(std::span<const std::uint16_t> pixels) {
        std::uint64_t run_sum = 0, run_squares = 0;
        for (const std::uint32_t v : pixels) {
            run_sum += v;
            run_squares += v * v;  // at most 65535 * 65535, which 32 bits hold
        }
        n += pixels.size();
        sum += run_sum;
        squares += run_squares;
    }
    [[nodiscard]] std::uint64_t count() const { return n; }
    /// Not a number without pixels.
    [[nodiscard]] double mean() const { return static_cast<double>(sum) / static_cast<double>(n); }
    [[nodiscard]] double variance() const {
        return static_cast<double>(squares) / static_cast<double>(n) - mean() * mean();
    }

private:
    std::uint64_t n = 0, sum = 0, squares = 0;
};

}  // namespace Norvane
