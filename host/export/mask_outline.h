// SPDX-License-Identifier: Apache-2.0
/// The outline of a mask as closed lines to draw.
#pragma once

#include "findings/region.h"

#include <vector>

namespace Norvane::Host {

struct OutlinePoint {
    double x, y;
};
using Outline = std::vector<OutlinePoint>;  // closed: the last point joins the first

/// The lines between the pixels inside and outside, in pixel corners (pixel (x, y) covers x .. x + 1), one per hole or
/// island. Steps of a pixel are smoothed, so that the line lies within a pixel of the corners.
[[nodiscard]] std::vector<Outline> outlines_of(const MaskBitmap& bitmap);

/// The corners of a closed line that keep it within `tolerance` pixels of all its points (Douglas and Peucker, 1973).
[[nodiscard]] Outline simplified(const Outline& line, double tolerance);

}  // namespace Norvane::Host
