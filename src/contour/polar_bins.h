// SPDX-License-Identifier: Apache-2.0
/// Polar angles of whole rows of pixels, as table indices. A caller can map the few thousand indices to its bins once,
/// instead of mapping the angle of every pixel.
#pragma once

#include "contour/polar.h"

#include <norvane/masking.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace Norvane {

/// Takes the angle `t` of the first quadrant to the quadrant of the signs (radians, single precision).
[[nodiscard]] inline float in_quadrant(float t, int sx, int sy) {
    constexpr float kPi = 3.14159274F;
    constexpr float kTwoPi = 6.28318548F;
    if (sy > 0) return sx > 0 ? t : kPi - t;
    return sx > 0 ? kTwoPi - t : t + kPi;
}

/// Index of the origin pixel itself, after those of the table. Its angle is 0 in every quadrant.
constexpr int kOriginIndex = Masking::NUM_IN_LUT + 1;

/// Distances and table indices of consecutive pixels of one row, seen from the polar origin. Both depend only on the
/// column and row offsets. The plain definition is polar_angle(), and the tests of the contour searches compare with
/// it.
struct PolarRow {
    struct Pixel {
        float distance;
        std::uint16_t index;  // into AcosTable::angles, or kOriginIndex
    };
    std::vector<float> distance;
    std::vector<std::uint16_t> index;

    /// Column offsets dx_first .. dx_last, row offset dy; `sy` as in polar_angle().
    void set(int dx_first, int dx_last, int dy, int sy) {
        const std::size_t count = dx_first <= dx_last ? static_cast<std::size_t>(dx_last - dx_first) + 1 : 0;
        distance.resize(count);
        index.resize(count);
        const double first = dx_first;
        const double below = dy;
        const double half = sy * 0.5;
        for (std::size_t i = 0; i < count; ++i) {
            const Pixel pixel = pixel_at(first + static_cast<double>(static_cast<int>(i)), below, half);
            distance[i] = pixel.distance;
            index[i] = pixel.index;
        }
        if (dy == 0 && dx_first <= 0 && dx_last >= 0) index[static_cast<std::size_t>(-dx_first)] = kOriginIndex;
    }

    /// One pixel, which must not be the origin.
    [[nodiscard]] static Pixel pixel(int dx, int dy, int sy) { return pixel_at(dx, dy, sy * 0.5); }

private:
    // The index is that of polar_angle(). The clamp comes before the truncation. This has the same effect and keeps the
    // conversion inside the range of the integer. A distance of 0 means the origin, whose index is set separately.
    [[nodiscard]] static Pixel pixel_at(double dx, double dy, double half) {
        constexpr double kLast = Masking::NUM_IN_LUT;
        const float r = static_cast<float>(std::sqrt(dx * dx + dy * dy));
        const double length = r > 0.0F ? double{r} : 1.0;
        const double k = std::fabs(dx) / length * kLast + half;
        return {r, static_cast<std::uint16_t>(static_cast<int>(k < 0.0 ? 0.0 : (k > kLast ? kLast : k)))};
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
