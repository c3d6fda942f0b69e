// SPDX-License-Identifier: Apache-2.0
/// Polar angles by table: the angle of a pixel's offset from its horizontal component and its length.
#pragma once

#include <vector>

namespace Norvane {

/// Arc cosine at k / n for k = 0 .. n, radians, in single precision: from pi / 2 down to 0.
struct AcosTable {
    explicit AcosTable(int intervals);

    int n;
    std::vector<float> angles;
};

/// The angle of an offset of length `r` whose horizontal component is `x`: radians, 0 .. 2 pi, counter-clockwise from
/// the +x direction, with up positive. `sx` is the sign of x; `sy` is +1 on or above the horizontal and -1 below it.
/// Returns 0 if the length is below 0.0001. If a sign is 0, prints "Wrong quad" and returns 0.
[[nodiscard]] float polar_angle(float x, float r, const AcosTable& table, int sx, int sy);

}  // namespace Norvane
