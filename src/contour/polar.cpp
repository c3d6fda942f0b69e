// SPDX-License-Identifier: Apache-2.0
#include "contour/polar.h"

#include "contour/polar_bins.h"
#include "model/numbers.h"
#include "model/pixels.h"

#include <algorithm>
#include <cmath>
#include <iostream>

namespace Norvane {

AcosTable::AcosTable(int intervals) : n(std::max(intervals, 0)), angles(static_cast<std::size_t>(n) + 1) {
    angles[0] = static_cast<float>(std::atan2(1.0, 0.0));
    for (int k = 1; k <= n; ++k) {
        const float c = static_cast<float>(k) / static_cast<float>(n);
        const float sine_squared = static_cast<float>(1.0 - double{c} * double{c});
        const float s = std::sqrt(sine_squared);
        angles[static_cast<std::size_t>(k)] = static_cast<float>(std::atan2(double{s}, double{c}));
    }
}

float polar_angle(float x, float r, const AcosTable& table, int sx, int sy) {
    constexpr float kNoLength = 0.0001F;
    if (std::fabs(r) < kNoLength) return 0.0F;
    if (sx == 0 || sy == 0) {
        std::cout << "Wrong quad" << std::endl;
        return 0.0F;
    }
    const double along = sx * double{x} / double{r};
    const int k = std::clamp(truncate_to<int>(along * table.n + sy * 0.5), 0, table.n);
    return in_quadrant(Row<const float>(table.angles)[k], sx, sy);
}

}  // namespace Norvane
