// SPDX-License-Identifier: Apache-2.0
/// Conversions from floating point to integers that are defined for every input.
#pragma once

#include <cmath>
#include <limits>

namespace Norvane {

/// Truncates toward zero. Values beyond the range of Int saturate, and a NaN gives 0.
template <class Int>
[[nodiscard]] constexpr Int truncate_to(double v) {
    // Both limits are exact in double for integers of up to 32 bits, and max + 1 is for 64.
    constexpr auto kLowest = double{std::numeric_limits<Int>::min()};
    constexpr Int kHalf = std::numeric_limits<Int>::max() / 2 + 1;
    constexpr auto kBeyond = double{kHalf} * 2.0;
    if (v != v) return 0;
    if (v <= kLowest) return std::numeric_limits<Int>::min();
    if (v >= kBeyond) return std::numeric_limits<Int>::max();
    return static_cast<Int>(v);
}

}  // namespace Norvane
