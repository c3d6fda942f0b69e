// SPDX-License-Identifier: Apache-2.0
/// Polar angles of whole rows of pixels: the table index of each pixel, so that a caller maps the few thousand indices
/// to its bins once instead of every pixel's angle.
#pragma once

#include "contour/polar.h"

#include <norvane/masking.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace Norvane {

/// The angle (radians, single precision) in the quadrant of the signs, for the angle `t` of the first quadrant.
[[nodiscard]] inline float in_quadrant(float t, int sx, int sy) {
    constexpr float kPi = 3.14159274F;
    constexpr float kTwoPi = 6.28318548F;
    if (sy > 0) return sx > 0 ? t : kPi - t;
    return sx > 0 ? kTwoPi - t : t + kPi;
}

/// Index of the origin pixel itself, behind those of the table: its angle is 0 in every quadrant.
constexpr int kOriginIndex = Masking::NUM_IN_LUT + 1;

/// Distances and table indices of consecutive pixels of one row, seen from the polar origin. Both depend on the column
/// offset's magnitude only.
struct PolarRow {
    std::vector<float> distance;       // pixels, rounded to float
    std::vector<std::uint16_t> index;  // into AcosTable::angles, or kOriginIndex

    /// Column offsets dx_first .. dx_last, row offset dy; `sy` as in polar_angle().
    void set(int dx_first, int dx_last, int dy, int sy) {
        const std::size_t count = dx_first <= dx_last ? static_cast<std::size_t>(dx_last - dx_first) + 1 : 0;
        distance.resize(count);
        index.resize(count);
        const double first = dx_first;
        const double dy_squared = static_cast<double>(dy) * dy;
        const double half = sy * 0.5;
        for (std::size_t i = 0; i < count; ++i) {
            const double dx = first + static_cast<double>(static_cast<int>(i));
            const float r = static_cast<float>(std::sqrt(dx * dx + dy_squared));
            distance[i] = r;
            index[i] = index_of(std::fabs(dx), r, half);
        }
        if (dy == 0 && dx_first <= 0 && dx_last >= 0) index[static_cast<std::size_t>(-dx_first)] = kOriginIndex;
    }

private:
    // As polar_angle() computes it. The clamp comes before the truncation, to the same effect, and keeps the conversion
    // inside the integer's range; a distance of 0 stands for the origin, whose index is set apart.
    [[nodiscard]] static std::uint16_t index_of(double run, float r, double half) {
        const double length = r > 0.0F ? static_cast<double>(r) : 1.0;
        const double k = run / length * Masking::NUM_IN_LUT + half;
        constexpr double kLast = Masking::NUM_IN_LUT;
        return static_cast<std::uint16_t>(static_cast<int>(k < 0.0 ? 0.0 : (k > kLast ? kLast : k)));
    }
};

/// `value_of(angle)` for every index that PolarRow gives, in the quadrant of the signs.
template <class Value, class ValueOf>
[[nodiscard]] std::vector<Value> tabulate(const AcosTable& table, int sx, int sy, ValueOf value_of) {
    std::vector<Value> values;
    values.reserve(kOriginIndex + 1);
    for (const float t : table.angles) values.push_back(value_of(in_quadrant(t, sx, sy)));
    values.push_back(value_of(0.0F));
    return values;
}

}  // namespace Norvane
