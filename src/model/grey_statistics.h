// SPDX-License-Identifier: Apache-2.0
/// Statistics of grey values, from exact sums.
#pragma once

#include "model/geometry.h"

#include <cmath>
#include <cstdint>
#include <span>

namespace Norvane {

inline constexpr int kGreyLevels = 65536;  // of a 16-bit image

/// Count, mean and population variance of pixels.
class GreyStatistics {
public:
    void add(std::span<const std::uint16_t> pixels) {
        std::uint64_t run_sum = 0, run_squares = 0;
        for (const std::uint32_t v : pixels) {
            run_sum += v;
            const std::uint32_t square = v * v;  // at most 65535 * 65535, which 32 bits hold
            run_squares += square;
        }
        add({pixels.size(), run_sum, run_squares});
    }
    /// Adds the pixels above 0. Zeros stand for pixels that the frame cut off.
    void add_above_zero(std::span<const std::uint16_t> pixels) {
        std::uint64_t seen = 0, run_sum = 0, run_squares = 0;
        for (const std::uint32_t v : pixels) {
            seen += v != 0 ? 1 : 0;
            run_sum += v;
            const std::uint32_t square = v * v;
            run_squares += square;
        }
        add({seen, run_sum, run_squares});
    }
    /// Adds the pixels with these grey levels.
    void add_within(std::span<const std::uint16_t> pixels, const Interval<std::uint32_t>& levels) {
        std::uint64_t seen = 0, run_sum = 0, run_squares = 0;
        for (const std::uint32_t v : pixels) {
            if (!levels.has(v)) continue;
            ++seen;
            run_sum += v;
            run_squares += std::uint64_t{v} * v;
        }
        add({seen, run_sum, run_squares});
    }
    void add(const GreyStatistics& other) {
        count_ += other.count_;
        sum_ += other.sum_;
        squares_ += other.squares_;
    }

    GreyStatistics() = default;

    [[nodiscard]] std::uint64_t count() const { return count_; }
    [[nodiscard]] double size() const { return static_cast<double>(count_); }
    [[nodiscard]] std::uint64_t sum() const { return sum_; }
    /// If there are no pixels, mean and variance are not a number.
    [[nodiscard]] double mean() const { return static_cast<double>(sum_) / size(); }
    [[nodiscard]] double variance() const { return static_cast<double>(squares_) / size() - mean() * mean(); }

private:
    GreyStatistics(std::uint64_t count, std::uint64_t sum, std::uint64_t squares)
        : count_(count), sum_(sum), squares_(squares) {}

    std::uint64_t count_ = 0, sum_ = 0, squares_ = 0;
};

/// A group of pixels for Welch's test.
struct Sample {
    double mean, variance, size;
};

/// Welch's t [welch1947]. The groups differ in size and in noise, and with a pooled variance a noisy group could hide
/// the difference. Computed in double, because the result is compared with a limit and must be on the same side of it
/// everywhere. If both groups are flat and equal, it is not a number.
[[nodiscard]] inline double welch_t(const Sample& a, const Sample& b) {
    return (a.mean - b.mean) / std::sqrt(a.variance / a.size + b.variance / b.size);
}

}  // namespace Norvane
